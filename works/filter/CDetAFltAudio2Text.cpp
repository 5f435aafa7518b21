#include "works/filter/CDetAFltAudio2Text.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CProcessWork.h"
#include "work/FFmpegOps.h"

#include <QFile>
#include <QFileInfo>

using WorkBaseData::PubUtils;

namespace {

CWorkBase::Guards TextGuards()
{
    CWorkBase::Guards guards;
    guards.sInputWord = nullptr; // a bad input ends, as a failed extraction does, with no word
    return guards;
}

} // namespace

CDetAFltAudio2Text::CDetAFltAudio2Text()
    : CWorkBase(12, TextGuards())
{
}

void CDetAFltAudio2Text::DoWork()
{
    const QString& sFile = InputFile();
    const QString& sSaveDir = SaveDir();
    // The recogniser runs in its own folder; its model path is passed exactly as given,
    // so a relative one means a folder beside the recogniser.
    const QString sWorkPath = PubUtils::AbsolutePath(m_mapParams.value(QStringLiteral("sWorkPath")).toString());
    const QString sWorkExc = m_mapParams.value(QStringLiteral("sWorkExc")).toString();
    const QString tools = sWorkPath + QStringLiteral("/audiosrc");

    const QString out = PubUtils::MakeUniqueFilePath(sSaveDir, QFileInfo(sFile).baseName(), QStringLiteral(".txt"));
    const QString temp = PubUtils::MakeTempWorkDir(sSaveDir);
    if (!QFileInfo(temp).isDir())
        return Fail("save_dir_failed");
    const QString wav = temp + QStringLiteral("/1.wav");
    const QString txt = temp + QStringLiteral("/1.txt");
    QFile::remove(wav);
    QFile::remove(txt);
    // A stop (which also ends the running tool) leaves nothing behind and, like this
    // work's other failures, no word: the missing output says it.
    const bool outExisted = QFileInfo::exists(out);
    const auto stopped = [&] {
        if (m_bWorking)
            return false;
        PubUtils::RemoveDir(temp);
        if (!outExisted)
            QFile::remove(out);
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "task_stopped");
        return true;
    };

    // A failed extraction ends the run with an empty "resMsg" and no "sOutFile": hosts
    // read the missing output as the failure.
    const bool extracted = FFmpegOps::ExtractAudio(QVariantMap{{QStringLiteral("inFile"), sFile},
                                                               {QStringLiteral("outFile"), wav},
                                                               {QStringLiteral("aType"), QStringLiteral("PCM16")}});
    if (stopped() || !extracted)
        return;
    NotifyProgress(1);

    CProcessWork::ExecProcess(tools + QStringLiteral("/test.exe"),
                              {QStringLiteral("--language"), QStringLiteral("zh"), QStringLiteral("-m"), sWorkExc,
                               QStringLiteral("-otxt"), QStringLiteral("-nt"), QStringLiteral("-f"), wav},
                              tools);
    if (stopped())
        return;
    if (!QFileInfo::exists(txt)) {
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "asr failed %s", wav.toUtf8().constData());
        m_mapResult.insert(QStringLiteral("resMsg"), QStringLiteral("recog_audio_failed"));
        return;
    }

    NotifyProgress(99);
    QFile::remove(out);
    CProcessWork::ExecProcess(tools + QStringLiteral("/opencc.exe"),
                              {QStringLiteral("-i"), txt, QStringLiteral("-c"), QStringLiteral("tw2sp.json"),
                               QStringLiteral("-o"), out},
                              tools);
    if (stopped())
        return;
    // The converter is judged by its output alone; without it the raw text is kept.
    if (!QFileInfo::exists(out))
        QFile::copy(txt, out);
    if (!QFileInfo::exists(out)) {
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "copy failed %s to %s", txt.toUtf8().constData(),
              out.toUtf8().constData());
        m_mapResult.insert(QStringLiteral("resMsg"), QStringLiteral("file_copy_failed"));
        return;
    }

    NotifyProgress(100);
    m_mapResult.insert(QStringLiteral("sOutFile"), out);
    PubUtils::RemoveDir(temp);
}
