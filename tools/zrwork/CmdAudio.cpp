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

// Reads FILE, --save-dir, --verbose and --param/--params; *status is set and false
// returned on a usage error.
bool TakeCommon(QStringList& args, const char* command, QVariantMap* params, bool* verbose, int* status)
{
    *verbose = TakeFlag(args, QStringLiteral("--verbose"));
    QString saveDir, error;
    QVariantMap overrides;
    if (!TakeOption(args, QStringLiteral("--save-dir"), &saveDir)) {
        *status = Usage(QStringLiteral("--save-dir is missing its value"));
        return false;
    }
    if (!TakeParams(args, overrides, &error)) {
        *status = Usage(error);
        return false;
    }
    if (args.size() != 1 || saveDir.isEmpty()) {
        *status = Usage(QStringLiteral("%1 needs one FILE and --save-dir DIR").arg(QLatin1String(command)));
        return false;
    }
    params->insert(QStringLiteral("sFile"), QFileInfo(args.first()).absoluteFilePath());
    params->insert(QStringLiteral("sSaveDir"), QFileInfo(saveDir).absoluteFilePath());
    for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
        params->insert(it.key(), it.value());
    return true;
}

} // namespace

int CmdText(QStringList args)
{
    QVariantMap params{{QStringLiteral("sWorkPath"), WorkToolsDir()},
                       {QStringLiteral("sWorkExc"), QString::fromLatin1(kDefaultModel)}};
    bool verbose = false;
    int status = 0;
    if (!TakeCommon(args, "text", &params, &verbose, &status))
        return status;
    if (params.value(QStringLiteral("sWorkPath")).toString().isEmpty())
        return Usage(QStringLiteral("no tool folder found beside zrwork; pass --param sWorkPath=DIR"));
    CCliHost host(verbose, AppData());
    QVariantMap finished;
    status = RunAndPrint(host, 12, params, &finished);
    QFile text(finished.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("sOutFile")).toString());
    if (status == 0 && text.open(QIODevice::ReadOnly)) {
        std::fwrite(text.readAll().constData(), 1, static_cast<size_t>(text.size()), stdout);
        std::fflush(stdout);
    }
    return status;
}

int CmdUnsilence(QStringList args)
{
    QVariantMap params;
    bool verbose = false;
    int status = 0;
    if (!TakeCommon(args, "unsilence", &params, &verbose, &status))
        return status;
    CCliHost host(verbose, AppData());
    return RunAndPrint(host, 9, params);
}

} // namespace zrcli
