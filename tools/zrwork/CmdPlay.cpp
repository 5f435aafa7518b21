#include "CmdPlay.h"

#include "CCliHost.h"
#include "CPlayWindow.h"
#include "AskWork.h"
#include "CliCommon.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>
#include <QThread>

#include <cstdio>
#include <memory>

namespace zrcli {

namespace {

// How long --frames waits for the player to show one asked frame.
constexpr int kFrameWaitMs = 30000;

// Waits until the player has opened its input; false when the run ended instead.
bool WaitOpen(CDetWork* work)
{
    while (!work->IsFinished() && AskWork(work, {{QStringLiteral("type"), QStringLiteral("info")}}).isEmpty())
        QThread::msleep(5);
    return !work->IsFinished();
}

bool HasDisplay()
{
#if defined(Q_OS_LINUX)
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY")
        || qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
#else
    return true;
#endif
}

// The player's parameters for FILE|DEVICE, --filter and --speed; -1 or the usage status.
int TakePlayParams(QStringList& args, QVariantMap& params, bool& verbose)
{
    verbose = TakeFlag(args, QStringLiteral("--verbose"));
    QString filter, speed, error;
    if (!TakeOption(args, QStringLiteral("--filter"), &filter) || !TakeOption(args, QStringLiteral("--speed"), &speed))
        return Usage(QStringLiteral("an option is missing its value"));
    QVariantMap overrides;
    if (!TakeParams(args, overrides, &error))
        return Usage(error);
    if (args.size() != 1 || args.first().startsWith(QLatin1String("--")))
        return Usage(QStringLiteral("play needs one FILE or DEVICE"));
    const QString input = args.takeFirst();
    static const QRegularExpression device(QStringLiteral("^(\\d{1,3}|/dev/video\\d+)$"));
    if (device.match(input).hasMatch())
        params.insert(QStringLiteral("sDevice"), input);
    else
        params.insert(QStringLiteral("sFile"), QFileInfo(input).absoluteFilePath());
    if (!speed.isEmpty()) {
        bool ok = false;
        const double x = speed.toDouble(&ok);
        if (!ok || !(x >= 0 && x <= 64))
            return Usage(QStringLiteral("--speed wants a number from 0 (as fast as possible) to 64"));
        params.insert(QStringLiteral("dSpeed"), x);
    }
    if (filter == QLatin1String("beautify")) {
        params.insert(QStringLiteral("sFilter"), filter);
        params.insert(QStringLiteral("nDegree"), 3);
        params.insert(QStringLiteral("nDetails"), 2);
        params.insert(QStringLiteral("nOpacity"), 5);
        params.insert(QStringLiteral("nWhite"), 2);
    } else if (!filter.isEmpty() && filter != QLatin1String("none")) {
        params.insert(QStringLiteral("sFilter"), QStringLiteral("style"));
        params.insert(QStringLiteral("mapStyle"), QVariantMap{{QStringLiteral("sModel"), StyleModel(filter)}});
    }
    for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
        params.insert(it.key(), it.value());
    return -1;
}

// The asked times in milliseconds, in the given order; empty for a malformed list.
QList<qint64> ParseTimes(const QString& text)
{
    QList<qint64> out;
    for (const QString& part : text.split(QLatin1Char(','))) {
        bool ok = false;
        const double seconds = part.trimmed().toDouble(&ok);
        if (!ok || !(seconds >= 0 && seconds < 1e7))
            return {};
        out.append(qRound64(seconds * 1000));
    }
    return out;
}

// Seeks the paused player to each time and writes what it shows, one line "file, time
// (ms), frame number" each into *lines; false at the first frame that could not be had
// or written.
bool WriteFrames(CDetWork* work, const QString& dir, const QList<qint64>& times, QStringList* lines)
{
    for (const qint64 ms : times) {
        const QVariantMap target = AskWork(work, {{QStringLiteral("type"), QStringLiteral("seek")}, {QStringLiteral("nTime"), ms}});
        if (target.isEmpty())
            return false;
        QVariantMap frame;
        for (int waited = 0; waited < kFrameWaitMs && !work->IsFinished(); waited += 5) {
            frame = AskWork(work, {{QStringLiteral("type"), QStringLiteral("curFrame")}});
            if (!frame.isEmpty() && !frame.value(QStringLiteral("bSeeking")).toBool())
                break;
            frame.clear();
            QThread::msleep(5);
        }
        if (frame.isEmpty())
            return false;
        const QString file = QDir(dir).filePath(QStringLiteral("frame-%1.png").arg(ms, 6, 10, QLatin1Char('0')));
        if (!frame.value(QStringLiteral("desImage")).value<QImage>().save(file, "PNG")) {
            std::fprintf(stderr, "zrwork: cannot write %s\n", file.toUtf8().constData());
            return false;
        }
        lines->append(QStringLiteral("%1\t%2\t%3").arg(file, frame.value(QStringLiteral("nTime")).toString(),
                                                        frame.value(QStringLiteral("nFrame")).toString()));
    }
    return true;
}

int RunFrames(QVariantMap params, bool verbose, const QString& dir, const QList<qint64>& times)
{
    if (!QDir().mkpath(dir)) {
        std::fprintf(stderr, "zrwork: cannot make the folder %s\n", dir.toUtf8().constData());
        return 1;
    }
    params.insert(QStringLiteral("bPause"), true);
    CCliHost host(verbose, AppData());
    CDetWork* work = host.Start(0, params);
    if (!work)
        return 2;
    // A seek asked before the input is open would be clamped to nothing.
    QStringList lines;
    const bool wrote = WaitOpen(work) && WriteFrames(work, QFileInfo(dir).absoluteFilePath(), times, &lines);
    QVariantMap finished;
    const int status = host.Finish(work, &finished);
    // As the other commands: the finished map first, then what was made.
    PrintJson(finished);
    for (const QString& line : lines)
        std::printf("%s\n", line.toUtf8().constData());
    return status != 0 ? status : (wrote ? 0 : 1);
}

int RunWindow(const QVariantMap& params, bool verbose)
{
    CCliHost host(verbose, AppData());
    CDetWork* work = host.Start(0, params);
    if (!work)
        return 2;
    const QString name = params.contains(QStringLiteral("sDevice")) ? params.value(QStringLiteral("sDevice")).toString()
                                                                    : QFileInfo(params.value(QStringLiteral("sFile")).toString()).fileName();
    // No window flashes up for an input that does not open.
    if (WaitOpen(work)) {
        CPlayWindow window(work, QStringLiteral("zrwork play - %1").arg(name));
        window.show();
        QObject::connect(qApp, &QApplication::lastWindowClosed, qApp, &QApplication::quit);
        QApplication::exec();
    }
    QVariantMap finished;
    const int status = host.Finish(work, &finished);
    PrintJson(finished);
    return status;
}

} // namespace

int CmdPlay(int argc, char** argv)
{
    QStringList args;
    for (int i = 2; i < argc; ++i)
        args.append(QString::fromLocal8Bit(argv[i]));
    QString framesDir, at;
    if (!TakeOption(args, QStringLiteral("--frames"), &framesDir) || !TakeOption(args, QStringLiteral("--at"), &at)) {
        QCoreApplication app(argc, argv);
        return Usage(QStringLiteral("an option is missing its value"));
    }
    const bool frames = !framesDir.isEmpty() || !at.isEmpty();
    std::unique_ptr<QCoreApplication> app;
    if (frames || !HasDisplay())
        app = std::make_unique<QCoreApplication>(argc, argv);
    else
        app = std::make_unique<QApplication>(argc, argv);

    QVariantMap params;
    bool verbose = false;
    const int usage = TakePlayParams(args, params, verbose);
    if (usage >= 0)
        return usage;
    if (frames) {
        const QList<qint64> times = ParseTimes(at);
        if (framesDir.isEmpty() || times.isEmpty())
            return Usage(QStringLiteral("--frames DIR goes with --at T1,T2,... (seconds)"));
        if (params.contains(QStringLiteral("sDevice")))
            return Usage(QStringLiteral("--frames plays files only: a device cannot seek"));
        return RunFrames(params, verbose, framesDir, times);
    }
    if (!HasDisplay()) {
        std::fputs("zrwork: no display to open the window on (DISPLAY is not set); "
                   "--frames DIR --at T1,T2,... writes frames without one\n",
                   stderr);
        return 1;
    }
    return RunWindow(params, verbose);
}

} // namespace zrcli
