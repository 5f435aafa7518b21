#include "works/filter/CDFileFltWork.h"

#include "base/PubUtils.h"
#include "work/CProcessWork.h"

#include <QDir>
#include <QFileInfo>

using WorkBaseData::PubUtils;

CDFileFltWork::CDFileFltWork(int type, const char* ext, const char* failWord)
    : CWorkBase(type)
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
    const QString sFile = m_mapParams.value(QStringLiteral("sFile")).toString();
    const QString sSaveDir = m_mapParams.value(QStringLiteral("sSaveDir")).toString();
    const QString sWorkPath = m_mapParams.value(QStringLiteral("sWorkPath")).toString();
    const QString sWorkExc = m_mapParams.value(QStringLiteral("sWorkExc")).toString();

    // An empty save folder would put the output at the root of the file system.
    if (sSaveDir.isEmpty())
        return Fail("save_dir_failed");
    const QString saveDir = PubUtils::AbsolutePath(sSaveDir);
    if (!QDir().mkpath(saveDir))
        return Fail("save_dir_failed");

    // Absolute paths: the converter runs in its own folder, and a relative name
    // starting with '-' would be read as an option.
    const QString in = PubUtils::AbsolutePath(sFile);
    // The base name stops at the first dot on purpose: "a.b.docx" gives "a.pdf".
    const QString out = PubUtils::MakeUniqueFilePath(saveDir, QFileInfo(sFile).baseName(), QLatin1String(m_pExt));

    RunConverter(sWorkExc, Arguments(in, out), sWorkPath);

    if (QFileInfo::exists(out))
        m_mapResult.insert(QStringLiteral("sOutFile"), out);
    else
        Fail(m_pFailWord);
}
