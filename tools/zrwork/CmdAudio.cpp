#include "CmdAudio.h"

#include "CCliHost.h"
#include "CliCommon.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace zrcli {

namespace {

// Debian's US English pocketsphinx model (package pocketsphinx-en-us).
const char kDefaultModel[] = "/usr/share/pocketsphinx/model/en-us";

} // namespace

int CmdText(QStringList args)
{
    QVariantMap params{{QStringLiteral("sWorkPath"), WorkToolsDir()},
                       {QStringLiteral("sWorkExc"), QString::fromLatin1(kDefaultModel)}};
    bool verbose = false;
    int status = TakeFileCommand(args, "text", params, verbose);
    if (status >= 0)
        return status;
    if (params.value(QStringLiteral("sWorkPath")).toString().isEmpty())
        return Usage(QStringLiteral("no tool folder found beside zrwork; pass --param sWorkPath=DIR"));
    CCliHost host(verbose, AppData());
    QVariantMap finished;
    status = RunForFile(host, 12, params, &finished);
    if (status != 0)
        return status;
    QFile text(OutFile(finished));
    if (text.open(QIODevice::ReadOnly)) {
        std::fwrite(text.readAll().constData(), 1, static_cast<size_t>(text.size()), stdout);
        std::fflush(stdout);
    }
    return status;
}

int CmdUnsilence(QStringList args)
{
    QVariantMap params;
    bool verbose = false;
    const int status = TakeFileCommand(args, "unsilence", params, verbose);
    if (status >= 0)
        return status;
    CCliHost host(verbose, AppData());
    return RunForFile(host, 9, params);
}

} // namespace zrcli
