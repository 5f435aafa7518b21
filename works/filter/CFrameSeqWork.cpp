#include "works/filter/CFrameSeqWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/FFmpegOps.h"
#include "works/filter/CFilter.h"
#include "works/filter/PictureAlpha.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

#include <opencv2/imgcodecs.hpp>

using WorkBaseData::PubUtils;

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

bool CFrameSeqWork::WritePicture(const QString& path, const cv::Mat& picture)
{
    try {
        return cv::imwrite(path.toLocal8Bit().toStdString(), picture);
    } catch (const cv::Exception&) {
        return false; // an unknown suffix or an unwritable folder
    }
}

int CFrameSeqWork::FrameProgress(int i, int n)
{
    const int step = n / 66;
    if (n <= 0 || (step > 0 && i % step != 0))
        return -1;
    return 11 + static_cast<int>(static_cast<float>(i) / static_cast<float>(n) * 66.0);
}

bool CFrameSeqWork::PrepareFilter()
{
    m_pFilter = CreateFilter();
    return m_pFilter != nullptr;
}

bool CFrameSeqWork::FilterFile(const QString& in, const QString& out)
{
    PictureAlpha picture;
    if (!m_pFilter)
        return false;
    if (!picture.Read(in)) {
        ZRLOG(WorkBaseData::LOG_INFO, FuncName("DoWork").constData(), "imread failed %s", in.toUtf8().constData());
        return false;
    }
    // The filters know colour only: transparency is kept aside and put back.
    cv::Mat filtered;
    return m_pFilter->DoFilter(picture.Colour(), filtered) == 0 && WritePicture(out, picture.WithAlpha(filtered));
}

void CFrameSeqWork::FilterFrame(const QString& file)
{
    FilterFile(file, file);
}

bool CFrameSeqWork::FilterPicture(const QString& in, const QString& out)
{
    const auto drop = qScopeGuard([this] { m_pFilter.reset(); });
    return PrepareFilter() && FilterFile(in, out);
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
    // A filter that cannot start fails before anything is decoded: frames passed on
    // unfiltered would look like a success.
    const auto dropFilter = qScopeGuard([this] { m_pFilter.reset(); });
    if (m_stages.bFilterFrames && !PrepareFilter())
        return Fail("filter_init_failed");

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
    // After each step: a stop (which also ends the running tool) removes what the run
    // made, since it is no failure whose traces are kept; a failed step keeps them.
    const auto ended = [&](bool ok, const char* word) {
        if (!m_bWorking) {
            PubUtils::RemoveDir(tempDir);
            Fail("task_stopped");
            return true;
        }
        if (!ok)
            Fail(word);
        return !ok;
    };
    NotifyProgress(1);

    // Known before any frame is filtered: a source without sound gives a silent output.
    // When ffmpeg cannot tell, the sound is looked for as usual.
    const FFmpegOps::Streams streams = FFmpegOps::ProbeStreams(sFile);
    const bool bAudio = !streams.bKnown || streams.bAudio;

    if (ended(FFmpegOps::VideoToPngSeq({{QStringLiteral("inFile"), sFile}, {QStringLiteral("saveDir"), picDir}}),
              "videotopic_failed"))
        return;
    NotifyProgress(11);

    if (m_stages.bFilterFrames) {
        const QStringList frames = PubUtils::GetFileList(picDir, 1);
        const int n = frames.size();
        for (int i = 0; i < n; ++i) {
            if (ended(true, nullptr))
                return;
            FilterFrame(frames.at(i));
            const int pos = FrameProgress(i, n);
            if (pos >= 0)
                NotifyProgress(pos);
        }
        // The filter (and its network) lives only while the frames are filtered.
        m_pFilter.reset();
        NotifyProgress(m_stages.nAfterFrames);
    }

    if (ended(FFmpegOps::PngSeqToVideo({{QStringLiteral("inDir"), picDir}, {QStringLiteral("outFile"), video}}),
              "pictovideo_failed"))
        return;
    NotifyProgress(m_stages.nAfterEncode);

    if (bAudio) {
        if (ended(FFmpegOps::ExtractAudio({{QStringLiteral("inFile"), sFile}, {QStringLiteral("outFile"), audio}}),
                  "getaudio_failed"))
            return;
        NotifyProgress(m_stages.nAfterAudio);
        if (ended(FFmpegOps::MergeAudioVideo({{QStringLiteral("inFile"), video},
                                              {QStringLiteral("inFile2"), audio},
                                              {QStringLiteral("outFile"), out}}),
                  "mergeaudiovideo_failed"))
            return;
    } else {
        NotifyProgress(m_stages.nAfterAudio);
        // Nothing to join: the encoded pictures are the output. An empty file in the way
        // is a name reserved for this run.
        if (QFileInfo(out).size() == 0)
            QFile::remove(out);
        if (ended(QFile::rename(video, out), "mergeaudiovideo_failed"))
            return;
    }
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
    // Only a name reserved here is removed: the search gives up at _99 and hands back an
    // existing file, which is never ours to remove.
    if (!input.isFile() || !FilterPicture(sFile, out) || !PubUtils::IsUsableInput(out) || !m_bWorking) {
        if (reserved)
            QFile::remove(out);
        return Fail(m_bWorking ? "picfilter_failed" : "task_stopped");
    }
    m_mapResult.insert(QStringLiteral("sOutFile"), out);
}
