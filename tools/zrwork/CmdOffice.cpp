#include "CmdOffice.h"

#include "CCliHost.h"
#include "CliCommon.h"

#include <QFileInfo>

namespace zrcli {

namespace {

// One conversion of FILE into --save-dir with the shipped converter, unless
// --param sWorkPath/sWorkExc name another.
int RunConverter(QStringList args, const char* command, int type, const QString& program)
{
    const bool verbose = TakeFlag(args, QStringLiteral("--verbose"));
    QString saveDir;
    if (!TakeOption(args, QStringLiteral("--save-dir"), &saveDir))
        return Usage(QStringLiteral("an option is missing its value"));
    QVariantMap extra;
    QString error;
    if (!TakeParams(args, extra, &error))
        return Usage(error);
    if (args.size() != 1 || saveDir.isEmpty())
        return Usage(QStringLiteral("%1 needs one FILE and --save-dir DIR").arg(QLatin1String(command)));

    const QString tools = WorkToolsDir();
    QVariantMap params;
    params.insert(QStringLiteral("sFile"), QFileInfo(args.first()).absoluteFilePath());
    params.insert(QStringLiteral("sSaveDir"), QFileInfo(saveDir).absoluteFilePath());
    if (!tools.isEmpty()) {
        params.insert(QStringLiteral("sWorkPath"), tools + QStringLiteral("/office"));
        params.insert(QStringLiteral("sWorkExc"), tools + QStringLiteral("/office/") + program);
    }
    for (auto it = extra.cbegin(); it != extra.cend(); ++it)
        params.insert(it.key(), it.value());
    if (params.value(QStringLiteral("sWorkExc")).toString().isEmpty())
        return Usage(QStringLiteral("no tool folder found: pass --param sWorkExc=PROGRAM"));

    CCliHost host(verbose, AppData());
    return RunAndPrint(host, type, params);
}

} // namespace

int CmdPdf(QStringList args)
{
    return RunConverter(args, "pdf", 14, QStringLiteral("docx2pdf"));
}

int CmdDocx(QStringList args)
{
    return RunConverter(args, "docx", 13, QStringLiteral("pdf2docx"));
}

} // namespace zrcli
