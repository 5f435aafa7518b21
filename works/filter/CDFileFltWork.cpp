#include "works/filter/CDFileFltWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CProcessWork.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using WorkBaseData::PubUtils;

namespace {

CWorkBase::Guards ConverterGuards(const char* failWord)
{
    CWorkBase::Guards guards;
    guards.sInputWord = failWord;
    return guards;
}

} // namespace

CDFileFltWork::CDFileFltWork(int type, const char* ext, const char* failWord)
    : CWorkBase(type, ConverterGuards(failWord))
    , m_pExt(ext)
    , m_pFailWord(failWord)
{
}

void CDFileFltWork::RunConverter(const QString& program, const QStringList& arguments, const QString& workDir)
{
    CProcessWork::ExecProcess(program, arguments, workDir);
}

void CDFileFltWork::DoWork()
{
    const QString sWorkPath = m_mapParams.value(QStringLiteral("sWorkPath")).toString();
    const QString sWorkExc = m_mapParams.value(QStringLiteral("sWorkExc")).toString();

    const QString& in = InputFile();
    // The base name stops at the first dot on purpose: "a.b.docx" gives "a.pdf".
    // The name is reserved at once (an empty file), so works started together on
    // same-named inputs write different files.
    bool reserved = false;
    const QString out = PubUtils::MakeUniqueFilePath(SaveDir(), QFileInfo(in).baseName(), QLatin1String(m_pExt), &reserved);

    RunConverter(sWorkExc, Arguments(in, out), sWorkPath);

    // A stop ends the converter; whatever it left is not a result.
    if (!m_bWorking) {
        if (reserved)
            QFile::remove(out);
        return Fail("task_stopped");
    }
    // An empty file (the reservation, or what a full disk left) is no result and goes.
    if (PubUtils::KeepOutput(out)) {
        m_mapResult.insert(QStringLiteral("sOutFile"), out);
        return;
    }
    const QString hint = FailureHint(in);
    if (!hint.isEmpty()) {
        m_mapResult.insert(QStringLiteral("sHint"), hint);
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "%s", hint.toUtf8().constData());
    }
    Fail(m_pFailWord);
}
