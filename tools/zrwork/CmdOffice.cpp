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
    const QString tools = WorkToolsDir();
    QVariantMap params;
    if (!tools.isEmpty()) {
        params.insert(QStringLiteral("sWorkPath"), tools + QStringLiteral("/office"));
        params.insert(QStringLiteral("sWorkExc"), tools + QStringLiteral("/office/") + program);
    }
    bool verbose = false;
    const int usage = TakeFileCommand(args, command, params, verbose);
    if (usage >= 0)
        return usage;
    if (params.value(QStringLiteral("sWorkExc")).toString().isEmpty())
        return Usage(QStringLiteral("no tool folder found: pass --param sWorkExc=PROGRAM"));

    CCliHost host(verbose, AppData());
    return RunForFile(host, type, params);
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
