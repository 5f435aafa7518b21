#include "CmdColour.h"

#include "CCliHost.h"
#include "CliCommon.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <cstdio>

namespace zrcli {

int CmdColour(QStringList args)
{
    const bool verbose = TakeFlag(args, QStringLiteral("--verbose"));
    const bool fix = TakeFlag(args, QStringLiteral("--fix"));
    QString saveDir, step, colours, seconds, error;
    if (!TakeOption(args, QStringLiteral("--save-dir"), &saveDir) || !TakeOption(args, QStringLiteral("--step"), &step)
        || !TakeOption(args, QStringLiteral("--colours"), &colours) || !TakeOption(args, QStringLiteral("--seconds"), &seconds))
        return Usage(QStringLiteral("an option is missing its value"));
    QVariantMap overrides;
    if (!TakeParams(args, overrides, &error))
        return Usage(error);
    if (args.size() != 1)
        return Usage(QStringLiteral("colour needs one FILE or DEVICE"));

    QVariantMap params;
    bool ok = true;
    const auto integer = [&](const QString& text, const char* key, int low, int high) {
        bool good = false;
        const int n = text.toInt(&good);
        ok = ok && good && n >= low && n <= high;
        params.insert(QLatin1String(key), n);
    };
    if (!step.isEmpty())
        integer(step, "nStep", 0, 6);
    if (!colours.isEmpty())
        integer(colours, "nColours", 1, 8);
    if (!seconds.isEmpty()) {
        bool good = false;
        const double d = seconds.toDouble(&good);
        ok = ok && good && d >= 0;
        params.insert(QStringLiteral("dSeconds"), d);
    }
    if (!ok)
        return Usage(QStringLiteral("--step wants 0..6 (frames 1, 3, 6, 10, 20, 40, 100), --colours 1..8, --seconds 0 or more"));
    // A bare device index goes to the library as it is; anything else is a path.
    const QString input = args.first();
    const bool index = QRegularExpression(QStringLiteral("^[0-9]{1,2}$")).match(input).hasMatch();
    params.insert(QStringLiteral("sFile"), index ? input : QFileInfo(input).absoluteFilePath());
    if (!saveDir.isEmpty())
        params.insert(QStringLiteral("sSaveDir"), QFileInfo(saveDir).absoluteFilePath());
    params.insert(QStringLiteral("bFix"), fix);
    for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
        params.insert(it.key(), it.value());

    CCliHost host(verbose, AppData());
    QVariantMap finished;
    const int status = RunAndPrint(host, 1, params, &finished);
    const QVariantMap res = finished.value(QStringLiteral("res_data")).toMap();
    if (!res.contains(QStringLiteral("sCast")))
        return status;
    QStringList shares;
    for (const QVariant& c : res.value(QStringLiteral("lstColours")).toList()) {
        const QVariantMap m = c.toMap();
        shares << QStringLiteral("%1 %2%").arg(m.value(QStringLiteral("sColour")).toString())
                      .arg(m.value(QStringLiteral("dShare")).toDouble() * 100, 0, 'f', 1);
    }
    std::fprintf(stderr, "cast: %s (a* %.2f, b* %.2f), gains R %.3f G %.3f B %.3f, brightness %.1f, colours: %s\n",
                 res.value(QStringLiteral("sCast")).toString().toUtf8().constData(),
                 res.value(QStringLiteral("dCastA")).toDouble(), res.value(QStringLiteral("dCastB")).toDouble(),
                 res.value(QStringLiteral("dGainR")).toDouble(), res.value(QStringLiteral("dGainG")).toDouble(),
                 res.value(QStringLiteral("dGainB")).toDouble(), res.value(QStringLiteral("dBrightness")).toDouble(),
                 shares.join(QStringLiteral(", ")).toUtf8().constData());
    return status;
}

} // namespace zrcli
