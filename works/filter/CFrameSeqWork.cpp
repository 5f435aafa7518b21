#include "works/filter/CFrameSeqWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/FFmpegOps.h"
#include "works/filter/CFilter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

#include <opencv2/imgcodecs.hpp>

using WorkBaseData::PubUtils;

namespace {

bool WritePicture(const QString& path, const cv::Mat& picture)
{
    try {
        return cv::imwrite(path.toLocal8Bit().toStdString(), picture);
    } catch (const cv::Exception&) {
        return false; // an unknown suffix or an unwritable folder
    }
}

} // namespace

CFrameSeqWork::Guards CFrameSeqWork::VideoGuards()
{
    Guards guards;
    guards.sInputWord = "videotopic_failed";
    return guards;
}

CFrameSeqWork::CFrameSeqWork(int type, const Stages& stages, const Guards& guards)
    : CWorkBase(type, guards)
    , m_stages(stages)
{
}

CFrameSeqWork::~CFrameSeqWork() = default;

int CFrameSeqWork::FrameProgress(int i, int n)
{
    const int step = n / 66;
    if (n <= 0 || (step > 0 && i % step != 0))
        return -1;
    return 11 + static_cast<int>(static_cast<float>(i) / static_cast<float>(n) * 66.0);
}

void CFrameSeqWork::FilterFrame(const QString& file)
{
    cv::Mat out;
    if (m_pFilter && m_pFilter->DoFilter(file.toLocal8Bit().constData(), out) == 0)
        WritePicture(file, out);
}

bool CFrameSeqWork::FilterPicture(const QString& in, const QString& out)
{
    m_pFilter = CreateFilter();
    const auto drop = qScopeGuard([this] { m_pFilter.reset(); });
    cv::Mat picture;
    return m_pFilter && m_pFilter->DoFilter(in.toLocal8Bit().constData(), picture) == 0 && WritePicture(out, picture);
}

const char* CFrameSeqWork::InputWord() const
{
    const bool picture = m_stages.bPictureMode && m_mapParams.value(QStringLiteral("bPicFlt")).toBool();
    return picture ? "picfilter_failed" : CWorkBase::InputWord();
}

void CFrameSeqWork::DoWork()
{
    if (m_stages.bPictureMode && m_mapParams.value(QStringLiteral("bPicFlt")).toBool())
        return RunPicture(InputFile(), SaveDir());
    RunVideo(InputFile(), SaveDir());
}

void CFrameSeqWork::RunVideo(const QString& sFile, const QString& sSaveDir)
{
    const QString base = QFileInfo(sFile).baseName();
    const QString tempDir = PubUtils::MakeTempWorkDir(sSaveDir);
    const QString picDir = PubUtils::MakeTempWorkDir(tempDir);
    if (!QFileInfo(picDir).isDir()) {
        PubUtils::RemoveDir(tempDir);
        return Fail("save_dir_failed");
    }
    const QString audio = PubUtils::MakeUniqueFilePath(tempDir, QStringLiteral("audio") + base, QStringLiteral(".aac"));
    const QString video = PubUtils::MakeUniqueFilePath(tempDir, QStringLiteral("video") + base, QStringLiteral(".mp4"));
    // The temporary folder is this run's own: its names need no reservation, and empty files
    // left in it after a failure would only mislead.
    QFile::remove(audio);
    QFile::remove(video);
    bool reserved = false;
    const QString out = PubUtils::MakeUniqueFilePath(sSaveDir, base, QStringLiteral(".mp4"), &reserved);
    // The name is held (an empty file) from the start; a run that fails gives it back.
    auto dropOut = qScopeGuard([&] {
        if (reserved)
            QFile::remove(out);
    });
    NotifyProgress(1);

    if (!FFmpegOps::VideoToPngSeq({{QStringLiteral("inFile"), sFile}, {QStringLiteral("saveDir"), picDir}}))
        return Fail("videotopic_failed");
    NotifyProgress(11);

    if (m_stages.bFilterFrames) {
        const QStringList frames = PubUtils::GetFileList(picDir, 1);
        m_pFilter = CreateFilter();
        {
            // The filter (and its network) lives only while the frames are filtered.
            const auto dropFilter = qScopeGuard([this] { m_pFilter.reset(); });
            const int n = frames.size();
            for (int i = 0; i < n; ++i) {
                if (!m_bWorking)
                    return Fail("task_stopped");
                FilterFrame(frames.at(i));
                const int pos = FrameProgress(i, n);
                if (pos >= 0)
                    NotifyProgress(pos);
            }
        }
        NotifyProgress(m_stages.nAfterFrames);
    }

    if (!FFmpegOps::PngSeqToVideo({{QStringLiteral("inDir"), picDir}, {QStringLiteral("outFile"), video}}))
        return Fail("pictovideo_failed");
    NotifyProgress(m_stages.nAfterEncode);

    if (!FFmpegOps::ExtractAudio({{QStringLiteral("inFile"), sFile}, {QStringLiteral("outFile"), audio}}))
        return Fail("getaudio_failed");
    NotifyProgress(m_stages.nAfterAudio);

    if (!FFmpegOps::MergeAudioVideo(
            {{QStringLiteral("inFile"), video}, {QStringLiteral("inFile2"), audio}, {QStringLiteral("outFile"), out}}))
        return Fail("mergeaudiovideo_failed");
    NotifyProgress(m_stages.nAfterMerge);

    dropOut.dismiss();
    (m_stages.bOutInParams ? m_mapParams : m_mapResult).insert(QStringLiteral("sOutFile"), out);
    PubUtils::RemoveDir(tempDir);
}

void CFrameSeqWork::RunPicture(const QString& sFile, const QString& sSaveDir)
{
    const QFileInfo input(sFile);
    if (!QFileInfo(sSaveDir).isWritable())
        return Fail("save_dir_failed");
    // A picture without a suffix is written as PNG: the encoder is chosen by the suffix.
    const QString suffix = input.suffix().isEmpty() ? QStringLiteral("png") : input.suffix();
    bool reserved = false;
    const QString out = PubUtils::MakeUniqueFilePath(sSaveDir, input.baseName(), suffix, &reserved);
    // The name search gives up at _99 and hands back an existing file: never remove that one.
    if (!input.isFile() || !FilterPicture(sFile, out) || !PubUtils::IsUsableInput(out)) {
        if (reserved)
            QFile::remove(out);
        return Fail("picfilter_failed");
    }
    m_mapResult.insert(QStringLiteral("sOutFile"), out);
}
