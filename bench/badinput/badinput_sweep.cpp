// Feeds every available work type a list of bad inputs through the public interface
// and counts crashes, runs without exactly one finished message, and files left
// half-written (empty files or ".part" leftovers) in the save folder.
//
//   badinput_sweep [--types 5,9,...] [--worktools DIR]
//
// Each run happens in a child process of this program ("--one TYPE CASE DIR"), so a
// crash ends only that run.

#include "CWorkLib.h"
#include "WorkTypes.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::atomic<int> g_finished{0};

void Count(WorkLibRs kind, const QVariant&)
{
    if (kind == WorkLibRs_Finished)
        ++g_finished;
}

bool Write(const QString& path, const QByteArray& data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

bool Ffmpeg(const QStringList& args)
{
    return QProcess::execute(QStringLiteral("ffmpeg"), QStringList{"-v", "error", "-y"} + args) == 0;
}

// Good media to start from: a second of 160x120 picture with a tone, a tone alone, a picture.
void MakeSamples(const QString& dir)
{
    Ffmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=1", "-f", "lavfi", "-i",
            "sine=frequency=440:duration=1", "-c:v", "libx264", "-c:a", "aac", "-movflags", "+faststart", dir + "/good.mp4"});
    Ffmpeg({"-f", "lavfi", "-i", "sine=frequency=440:duration=1", dir + "/tone.wav"});
    Ffmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120", "-frames:v", "1", dir + "/pic.png"});
}

struct Case
{
    const char* name;
    // Adjusts the parameters (the defaults name a good file and a fresh save folder).
    std::function<void(QVariantMap&, const QString& dir)> apply;
};

QString Copy(const QString& dir, const QString& name)
{
    const QString to = dir + QLatin1Char('/') + name;
    QFile::copy(dir + QStringLiteral("/../good.mp4"), to);
    return to;
}

const QList<Case>& Cases()
{
    static const QList<Case> cases = {
        {"missing file", [](QVariantMap& p, const QString& d) { p["sFile"] = d + "/none.mp4"; }},
        {"empty file", [](QVariantMap& p, const QString& d) { Write(d + "/empty.mp4", ""); p["sFile"] = d + "/empty.mp4"; }},
        {"truncated media", [](QVariantMap& p, const QString& d) {
             QFile in(d + "/../good.mp4");
             in.open(QIODevice::ReadOnly);
             Write(d + "/cut.mp4", in.read(in.size() / 2));
             p["sFile"] = d + "/cut.mp4";
         }},
        {"text as media", [](QVariantMap& p, const QString& d) { Write(d + "/t.mp4", "just text\n"); p["sFile"] = d + "/t.mp4"; }},
        {"random bytes", [](QVariantMap& p, const QString& d) {
             QByteArray b(4096, 0);
             for (int i = 0; i < b.size(); ++i)
                 b[i] = static_cast<char>((i * 7919) ^ (i >> 3));
             Write(d + "/r.bin", b);
             p["sFile"] = d + "/r.bin";
         }},
        {"directory", [](QVariantMap& p, const QString& d) { QDir().mkpath(d + "/a.mp4"); p["sFile"] = d + "/a.mp4"; }},
        {"fifo", [](QVariantMap& p, const QString& d) { mkfifo(QFile::encodeName(d + "/f.mp4").constData(), 0600); p["sFile"] = d + "/f.mp4"; }},
        {"device", [](QVariantMap& p, const QString&) { p["sFile"] = "/dev/zero"; }},
        {"dangling link", [](QVariantMap& p, const QString& d) { QFile::link(d + "/gone", d + "/l.mp4"); p["sFile"] = d + "/l.mp4"; }},
        {"link loop", [](QVariantMap& p, const QString& d) { QFile::link(d + "/loop.mp4", d + "/loop.mp4"); p["sFile"] = d + "/loop.mp4"; }},
        {"empty path", [](QVariantMap& p, const QString&) { p["sFile"] = QString(); }},
        {"path not a string", [](QVariantMap& p, const QString&) { p["sFile"] = QVariantList{1, 2}; }},
        {"spaces in name", [](QVariantMap& p, const QString& d) { p["sFile"] = Copy(d, "a b  c.mp4"); }},
        {"quotes in name", [](QVariantMap& p, const QString& d) { p["sFile"] = Copy(d, "it's \"q\".mp4"); }},
        {"non-ascii name", [](QVariantMap& p, const QString& d) { p["sFile"] = Copy(d, "Grüße 声音.mp4"); }},
        {"leading dash, relative", [](QVariantMap& p, const QString& d) {
             Copy(d, "-i.mp4");
             QDir::setCurrent(d);
             p["sFile"] = "-i.mp4";
             p["sSaveDir"] = "-out";
         }},
        {"newline in name", [](QVariantMap& p, const QString& d) { p["sFile"] = Copy(d, "a\nb.mp4"); }},
        {"very long name", [](QVariantMap& p, const QString& d) { p["sFile"] = Copy(d, QString(240, 'x') + ".mp4"); }},
        {"multi-dot name", [](QVariantMap& p, const QString& d) { p["sFile"] = Copy(d, "a.b.c.mp4"); }},
        {"audio only", [](QVariantMap& p, const QString& d) { p["sFile"] = d + "/../tone.wav"; }},
        {"picture as media", [](QVariantMap& p, const QString& d) { p["sFile"] = d + "/../pic.png"; }},
        {"save dir empty", [](QVariantMap& p, const QString&) { p["sSaveDir"] = QString(); }},
        {"save dir is a file", [](QVariantMap& p, const QString& d) { Write(d + "/plain", "x"); p["sSaveDir"] = d + "/plain"; }},
        {"save dir below a file", [](QVariantMap& p, const QString& d) { Write(d + "/plain", "x"); p["sSaveDir"] = d + "/plain/out"; }},
        {"save dir read-only", [](QVariantMap& p, const QString& d) {
             QDir().mkpath(d + "/ro");
             QFile::setPermissions(d + "/ro", QFile::ReadOwner | QFile::ExeOwner);
             p["sSaveDir"] = d + "/ro";
         }},
        {"negative numbers", [](QVariantMap& p, const QString&) {
             p["nDuration"] = -5; p["nDecibel"] = -30; p["dMinSec"] = -1.0; p["nDegree"] = -100; p["nStep"] = -3;
         }},
        {"huge numbers", [](QVariantMap& p, const QString&) {
             p["nDuration"] = std::numeric_limits<qint64>::max(); p["nDecibel"] = 1000000; p["dMinSec"] = 1e300;
             p["nDegree"] = 1 << 30; p["nLevel"] = 1 << 30;
         }},
        {"nan and inf", [](QVariantMap& p, const QString&) {
             p["dMinSec"] = std::nan(""); p["dMinEvent"] = std::numeric_limits<double>::infinity();
         }},
        {"wrong value types", [](QVariantMap& p, const QString&) {
             p["nDuration"] = "ten"; p["nDecibel"] = QVariantMap{{"a", 1}}; p["bMergeVideo"] = "maybe"; p["bPicFlt"] = "x";
         }},
        {"tool folder missing", [](QVariantMap& p, const QString& d) { p["sWorkPath"] = d + "/no-tools"; p["sWorkExc"] = d + "/no-tool"; }},
        {"tool is a directory", [](QVariantMap& p, const QString& d) { QDir().mkpath(d + "/tooldir"); p["sWorkExc"] = d + "/tooldir"; }},
        {"no parameters", [](QVariantMap& p, const QString&) { p.clear(); }},
    };
    return cases;
}

// Runs one case in this process and prints the number of finished messages.
int RunOne(int type, int index, const QString& dir, const QString& tools)
{
    CWorkLib* lib = CreateWorkLib(&Count, QVariantMap{{"appData", dir + "/app"}});
    CDetWork* work = lib->CreateWork(type);
    if (!work)
        return 3;
    QVariantMap params{{"sFile", dir + "/../good.mp4"}, {"sSaveDir", dir + "/out"}, {"nDuration", 1}, {"nDecibel", 30},
                       {"dMinSec", 0.5}, {"sWorkPath", tools}};
    Cases().at(index).apply(params, dir);
    work->SetParams(params);
    work->StartWork();
    QElapsedTimer t;
    t.start();
    while (!work->IsFinished() && t.elapsed() < 300000)
        QThread::msleep(20);
    work->StopWork();
    work->JoinWork(10000);
    lib->ReleaseWork(work);
    std::printf("finished=%d\n", g_finished.load());
    std::fflush(stdout);
    ReleaseWorkLib(lib);
    return 0;
}

int HalfWritten(const QString& dir)
{
    int n = 0;
    QDirIterator it(dir, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo f(it.next());
        if (f.absolutePath().contains(QLatin1String("/app")))
            continue;
        // Inputs the case made itself are not outputs.
        if (f.absolutePath() == QFileInfo(dir).absoluteFilePath() && !f.fileName().contains(QLatin1String(".part")))
            continue;
        // The voice work's merge list is empty by contract when nothing was cut.
        const bool emptyByContract = f.fileName() == QLatin1String("tmp_concat.txt");
        if ((f.size() == 0 && !emptyByContract) || f.fileName().contains(QLatin1String(".part"))) {
            std::printf("    half-written: %s\n", qPrintable(f.filePath()));
            ++n;
        }
    }
    return n;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    QString tools = QDir(app.applicationDirPath() + "/../worktools").absolutePath();
    const int toolsAt = args.indexOf("--worktools");
    if (toolsAt >= 0 && toolsAt + 1 < args.size())
        tools = args.at(toolsAt + 1);
    if (args.value(0) == "--one")
        return RunOne(args.value(1).toInt(), args.value(2).toInt(), args.value(3), tools);

    QList<int> types;
    const int typesAt = args.indexOf("--types");
    if (typesAt >= 0 && typesAt + 1 < args.size()) {
        for (const QString& t : args.at(typesAt + 1).split(','))
            types << t.toInt();
    } else {
        for (const WorkTypeInfo& info : kWorkTypes)
            types << info.nType;
    }

    QDir root(QDir::tempPath() + QString("/zrw-sweep-%1").arg(getpid()));
    root.mkpath(".");
    MakeSamples(root.path());
    int runs = 0, crashes = 0, notOnce = 0, half = 0;
    for (int type : types) {
        for (int i = 0; i < Cases().size(); ++i) {
            const QString dir = root.filePath(QString("t%1-c%2").arg(type).arg(i));
            QDir().mkpath(dir);
            QProcess child;
            child.start(app.applicationFilePath(), {"--one", QString::number(type), QString::number(i), dir, "--worktools", tools});
            child.waitForFinished(-1);
            ++runs;
            const QByteArray out = child.readAllStandardOutput();
            const bool crashed = child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0;
            const bool once = out.contains("finished=1\n");
            const int h = HalfWritten(dir);
            crashes += crashed;
            notOnce += !crashed && !once;
            half += h;
            if (crashed || !once || h)
                std::printf("type %d, %s: %s%s\n", type, Cases().at(i).name, crashed ? "CRASH " : "",
                            once ? "" : qPrintable("finished messages: " + QString::fromUtf8(out).trimmed()));
        }
        std::printf("type %d done\n", type);
        std::fflush(stdout);
    }
    // Read-only folders would stop the clean-up.
    QDirIterator it(root.path(), QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext())
        QFile::setPermissions(it.next(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    root.removeRecursively();
    std::printf("types %d, kinds of bad input %d, runs %d, crashes %d, runs without exactly one finished message %d, "
                "files left half-written %d\n",
                static_cast<int>(types.size()), static_cast<int>(Cases().size()), runs, crashes, notOnce, half);
    return crashes || notOnce || half ? 1 : 0;
}
