#include "works/filter/CDetAFltAudio2Text.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CProcessWork.h"
#include "work/FFmpegOps.h"

#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

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

    bool reserved = false;
    const QString out =
        PubUtils::MakeUniqueFilePath(sSaveDir, QFileInfo(sFile).baseName(), QStringLiteral(".txt"), &reserved);
    // The name is held from the start; a run that ends without a text gives it back.
    auto dropOut = qScopeGuard([&] {
        if (reserved)
            QFile::remove(out);
    });
    const QString temp = PubUtils::MakeTempWorkDir(sSaveDir);
    if (!QFileInfo(temp).isDir())
        return Fail("save_dir_failed");
    const QString wav = temp + QStringLiteral("/1.wav");
    const QString txt = temp + QStringLiteral("/1.txt");
    QFile::remove(wav);
    QFile::remove(txt);
    // A stop (which also ends the running tool) leaves nothing behind and, like this
    // work's other failures, no word: the missing output says it (the reserved name goes
    // with the guard above).
    const auto stopped = [&] {
        if (m_bWorking)
            return false;
        PubUtils::RemoveDir(temp);
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "task_stopped");
        return true;
    };

    // A failed extraction ends the run with an empty "resMsg" and no "sOutFile": hosts
    // read the missing output as the failure. An empty sound file is no sound at all.
    const bool extracted = FFmpegOps::ExtractAudio(QVariantMap{{QStringLiteral("inFile"), sFile},
                                                               {QStringLiteral("outFile"), wav},
                                                               {QStringLiteral("aType"), QStringLiteral("PCM16")}});
    if (stopped() || !extracted || !PubUtils::KeepOutput(wav))
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
    // The reserved (empty) output is not deleted first: the converter writes over it, and
    // the name stays ours meanwhile.
    CProcessWork converter;
    converter.StartTask(tools + QStringLiteral("/opencc.exe"),
                        {QStringLiteral("-i"), txt, QStringLiteral("-c"), QStringLiteral("tw2sp.json"),
                         QStringLiteral("-o"), out},
                        tools);
    if (stopped())
        return;
    // The converter is judged by its output alone; without it the raw text is kept. A
    // recording in which nothing was heard rightly gives an empty text.
    const bool heard = QFileInfo(txt).size() > 0;
    const auto written = [&] { return heard ? PubUtils::IsUsableInput(out) : QFileInfo(out).isFile(); };
    if (!converter.Succeeded() || !written())
        CopyText(txt, out);
    if (!written()) {
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "copy failed %s to %s", txt.toUtf8().constData(),
              out.toUtf8().constData());
        QFile::remove(out);
        m_mapResult.insert(QStringLiteral("resMsg"), QStringLiteral("file_copy_failed"));
        return;
    }

    dropOut.dismiss();
    NotifyProgress(100);
    m_mapResult.insert(QStringLiteral("sOutFile"), out);
    PubUtils::RemoveDir(temp);
}

bool CDetAFltAudio2Text::CopyText(const QString& from, const QString& to)
{
    QFile in(from);
    QFile out(to);
    if (!in.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QByteArray text = in.readAll();
    // Whole or not at all: a text cut short by a full disk is no copy.
    if (out.write(text) != text.size() || !out.flush()) {
        out.close();
        out.resize(0);
        return false;
    }
    return true;
}
