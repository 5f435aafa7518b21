#include "CmdOcr.h"

#include "CCliHost.h"
#include "CliCommon.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace zrcli {

int CmdOcr(QStringList args)
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
        return Usage(QStringLiteral("ocr needs one FILE and --save-dir DIR"));

    const QString tools = WorkToolsDir() + QStringLiteral("/ocr");
    QVariantMap params{{QStringLiteral("sFile"), QFileInfo(args.first()).absoluteFilePath()},
                       {QStringLiteral("sSaveDir"), QFileInfo(saveDir).absoluteFilePath()},
                       {QStringLiteral("sWorkPath"), tools},
                       {QStringLiteral("sWorkExc"), tools + QStringLiteral("/zrocr")}};
    for (auto it = extra.cbegin(); it != extra.cend(); ++it)
        params.insert(it.key(), it.value());

    CCliHost host(verbose, AppData());
    QVariantMap finished;
    const int status = RunAndPrint(host, 15, params, &finished);
    if (status != 0)
        return status;
    QFile text(finished.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("sOutFile")).toString());
    if (text.open(QIODevice::ReadOnly)) {
        const QByteArray all = text.readAll();
        std::fwrite(all.constData(), 1, static_cast<size_t>(all.size()), stdout);
    }
    return 0;
}

} // namespace zrcli
