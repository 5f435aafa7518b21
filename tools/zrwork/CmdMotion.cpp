#include "CmdMotion.h"

#include "CCliHost.h"
#include "CMotionPlot.h"
#include "CliCommon.h"

#include <QFileInfo>

#include <opencv2/imgcodecs.hpp>

#include <cstdio>

namespace zrcli {

namespace {

// The options both commands share, into params; false after printing the usage error.
bool TakeMotionOptions(QStringList& args, QVariantMap& params, int* status)
{
    QString level, step, minSec, gapSec, error;
    if (!TakeOption(args, QStringLiteral("--level"), &level) || !TakeOption(args, QStringLiteral("--step"), &step)
        || !TakeOption(args, QStringLiteral("--min-sec"), &minSec) || !TakeOption(args, QStringLiteral("--gap-sec"), &gapSec)) {
        *status = Usage(QStringLiteral("an option is missing its value"));
        return false;
    }
    bool ok = true;
    const auto integer = [&](const QString& text, const char* key, int low, int high) {
        bool good = false;
        const int n = text.toInt(&good);
        if (!good || n < low || n > high)
            ok = false;
        params.insert(QLatin1String(key), n);
    };
    const auto number = [&](const QString& text, const char* key) {
        bool good = false;
        const double d = text.toDouble(&good);
        if (!good || d < 0)
            ok = false;
        params.insert(QLatin1String(key), d);
    };
    if (!level.isEmpty())
        integer(level, "nLevel", 0, 64);
    if (!step.isEmpty())
        integer(step, "nStep", 0, 6);
    if (!minSec.isEmpty())
        number(minSec, "dMinSec");
    if (!gapSec.isEmpty())
        number(gapSec, "dGapSec");
    if (!ok) {
        *status = Usage(QStringLiteral("--level wants 0..64, --step 0..6 (frames 1, 3, 6, 10, 20, 40, 100), "
                                       "--min-sec and --gap-sec numbers of 0 or more"));
        return false;
    }
    if (!TakeParams(args, params, &error)) {
        *status = Usage(error);
        return false;
    }
    return true;
}

} // namespace

int CmdMotion(QStringList args)
{
    const bool verbose = TakeFlag(args, QStringLiteral("--verbose"));
    QString store, plot;
    if (!TakeOption(args, QStringLiteral("--store"), &store) || !TakeOption(args, QStringLiteral("--plot"), &plot))
        return Usage(QStringLiteral("an option is missing its value"));
    QVariantMap params;
    int status = 0;
    if (!TakeMotionOptions(args, params, &status))
        return status;
    status = TakeInputCommand(args, "motion", params, store, QStringLiteral("motion needs a FILE and --store DIR"));
    if (status >= 0)
        return status;
    if (!plot.isEmpty() && BatchPending())
        return Usage(QStringLiteral("--plot draws the measure of one FILE"));

    CCliHost host(verbose, AppData());
    host.Lib()->InitModelStore(QFileInfo(store).absoluteFilePath());
    QVariantMap finished;
    status = RunAndPrint(host, 2, params, &finished);
    if (status != 0 || plot.isEmpty())
        return status;

    const QVariantMap result = finished.value(QStringLiteral("res_data")).toMap();
    const QVariantMap used = finished.value(QStringLiteral("user_data")).toMap();
    const QVector<CMotionPlot::Point> points = CMotionPlot::ReadModel(result.value(QStringLiteral("sModel")).toString());
    const QString out = QFileInfo(plot).absoluteFilePath();
    bool written = false;
    try {
        written = !points.isEmpty()
                  && cv::imwrite(out.toLocal8Bit().toStdString(),
                                 CMotionPlot::Draw(points, used.value(QStringLiteral("nLevel")).toInt(),
                                                   result.value(QStringLiteral("lstEvents")).toList()));
    } catch (const cv::Exception&) {
        written = false; // an unknown picture suffix, for one
    }
    if (!written) {
        std::fprintf(stderr, "zrwork: the plot could not be written to %s\n", out.toUtf8().constData());
        return 1;
    }
    std::fprintf(stderr, "plot: %s\n", out.toUtf8().constData());
    return 0;
}

int CmdSplit(QStringList args)
{
    const bool merge = TakeFlag(args, QStringLiteral("--merge"));
    QString store;
    if (!TakeOption(args, QStringLiteral("--store"), &store))
        return Usage(QStringLiteral("an option is missing its value"));
    QVariantMap params;
    int status = 0;
    if (!TakeMotionOptions(args, params, &status))
        return status;
    bool verbose = false;
    status = TakeFileCommand(args, "split", params, verbose);
    if (status >= 0)
        return status;
    params.insert(QStringLiteral("bMergeVideo"), merge);

    CCliHost host(verbose, AppData());
    if (!store.isEmpty())
        host.Lib()->InitModelStore(QFileInfo(store).absoluteFilePath());
    return RunAndPrint(host, 4, params);
}

} // namespace zrcli
