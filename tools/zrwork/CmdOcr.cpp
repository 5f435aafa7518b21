#include "CmdOcr.h"

#include "CCliHost.h"
#include "CliCommon.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace zrcli {

int CmdOcr(QStringList args)
{
    const QString tools = WorkToolsDir() + QStringLiteral("/ocr");
    QVariantMap params{{QStringLiteral("sWorkPath"), tools}, {QStringLiteral("sWorkExc"), tools + QStringLiteral("/zrocr")}};
    bool verbose = false;
    const int usage = TakeFileCommand(args, "ocr", params, verbose);
    if (usage >= 0)
        return usage;

    CCliHost host(verbose, AppData());
    QVariantMap finished;
    const int status = RunForFile(host, 15, params, &finished);
    if (status != 0)
        return status;
    QFile text(OutFile(finished));
    if (text.open(QIODevice::ReadOnly)) {
        const QByteArray all = text.readAll();
        std::fwrite(all.constData(), 1, static_cast<size_t>(all.size()), stdout);
    }
    return 0;
}

} // namespace zrcli
