#include "CliCommon.h"

#include "CBatchOptions.h"
#include "CBatchRunner.h"
#include "CCliHost.h"
#include "CParamParser.h"
#include "WorkTypes.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegExp>
#include <QStandardPaths>

#include <cstdio>
#include <optional>

namespace zrcli {

namespace {

// What TakeFileCommand found for the RunAndPrint that follows it.
struct PendingBatch
{
    CBatchOptions options;
    QString verb;
};
std::optional<PendingBatch> g_batch;

const char kUsage[] =
    "usage:\n"
    "  zrwork types\n"
    "  zrwork run TYPE [--param key=value ...] [--params file.json] [--verbose]\n"
    "  zrwork voice FILE --save-dir DIR [--decibel N] [--min-sec X] [--merge] [--join] [--verbose]\n"
    "  zrwork list --store DIR [--model face|move] [--offset N] [--count N]   (every model unless --model)\n"
    "  zrwork text FILE --save-dir DIR [--verbose]   (speech to text; prints the text after the map)\n"
    "  zrwork unsilence FILE --save-dir DIR [--verbose]   (silence removal to an .mp3)\n"
    "  zrwork beautify FILE --save-dir DIR [--degree 0-6] [--details 1-5] [--opacity 1-99] [--white 0-5]\n"
    "  zrwork style FILE --save-dir DIR --model NAME|PATH   (NAME: one of `zrwork styles`)\n"
    "  zrwork upscale FILE --save-dir DIR\n"
    "  zrwork styles\n"
    "  zrwork reencode FILE --save-dir DIR\n"
    "A FILE with a picture suffix (png, jpg, jpeg, bmp, webp, tif, tiff) is filtered as one picture.\n"
    "  zrwork motion FILE --store DIR [--level N] [--step K] [--min-sec X] [--gap-sec X] [--plot out.png] [--verbose]\n"
    "  zrwork split FILE --save-dir DIR [--store DIR] [--level N] [--step K] [--min-sec X] [--gap-sec X] [--merge] [--verbose]\n"
    "--step K picks every 1, 3, 6, 10, 20, 40 or 100th frame for K = 0..6; --level N (0..64) is\n"
    "the change measure at which a sampled frame moves.\n"
    "  zrwork colour FILE|DEVICE [--save-dir DIR] [--fix] [--step K] [--colours N] [--seconds X] [--verbose]\n"
    "DEVICE is a capture device index (0..99) or /dev/videoN; --fix writes the input white-balanced into --save-dir.\n"
    "  zrwork faces FILE --store DIR [--people DIR] [--save-dir DIR] [--step K] [--min-face N] [--verbose]\n"
    "      (prints the finished map, then each person's time stretches)\n"
    "  zrwork who PICTURE --store DIR [--max-dist D]   (the analysed files that show the picture's face)\n"
    "  zrwork ocr FILE --save-dir DIR [--verbose]   (prints the finished map, then the text)\n"
    "  zrwork pdf FILE.docx --save-dir DIR [--verbose]\n"
    "  zrwork docx FILE.pdf --save-dir DIR [--verbose]\n"
    "  zrwork fetch URL --save-dir DIR [--stall-sec N]   (downloads with a progress bar; resumes a broken one)\n"
    "Any FILE may be an http:// or https:// address: it is downloaded into the data folder's cache first.\n"
    "  zrwork play FILE|DEVICE [--filter beautify|NAME|PATH] [--speed X] [--frames DIR --at T1,T2,...] [--verbose]\n"
    "play shows a window (pause with space or the button, seek with the slider); --speed 0 plays as\n"
    "fast as frames decode; --frames writes the frames at the given seconds as PNG files, no display needed.\n"
    "A DEVICE is a capture device's index (0) or node (/dev/video0).\n"
    "Parameters are typed by the prefix of their key: s text, n integer, d number,\n"
    "b true/false, map or js (or a value starting with '{') a JSON object.\n"
    "Commands that name a FILE take --param/--params too, to add or override parameters.\n"
    "They also run batches: several FILEs, a folder (FILE... may be folders), or both, with\n"
    "  [--recursive] [--glob PATTERN ...] [--from-list LIST|-] [--jobs N] [--journal FILE]\n"
    "  [--events] [--summary FILE.csv]\n"
    "A batch prints each input's finished map as one JSON line, in the order of the inputs\n"
    "(--events: JSON Lines of started, progress and finished events instead), then a summary\n"
    "on stderr; its journal (default: SAVE_DIR/zrwork-<command>.journal) lets the same\n"
    "command skip what is done and retry what failed. Exit status 0 only when all succeeded.\n"
    "The finished map is printed as JSON; the exit status is 0 when \"resMsg\" is empty.\n";
} // namespace

int Usage(const QString& error)
{
    if (error.isEmpty())
        std::fputs(kUsage, stderr);
    else
        std::fprintf(stderr, "zrwork: %s\n(zrwork --help shows every command)\n", error.toUtf8().constData());
    return 2;
}

void PrintUsage()
{
    std::fputs(kUsage, stdout);
    std::fputs("The works, by their command:\n", stdout);
    for (const WorkTypeInfo& info : kWorkTypes)
        std::printf("  %-10s type %2d, %s: %s\n", info.sVerb, info.nType, WorkFamilyName(info.enFamily), info.sDescription);
}

void PrintJson(const QVariant& value)
{
    const QJsonDocument doc = value.type() == QVariant::List ? QJsonDocument(QJsonArray::fromVariantList(value.toList()))
                                                             : QJsonDocument(QJsonObject::fromVariantMap(value.toMap()));
    std::fputs(doc.toJson(QJsonDocument::Indented).constData(), stdout);
    std::fflush(stdout);
}

QString AppData()
{
    QString dir = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    if (dir.isEmpty())
        dir = QDir::tempPath() + QStringLiteral("/zrwork");
    QDir().mkpath(dir);
    return dir;
}

QString FindTool(const QString& name)
{
    const QString local = QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
    if (QFileInfo(local).isExecutable())
        return local;
    return QStandardPaths::findExecutable(name);
}

QString FindProbe()
{
    return FindTool(QStringLiteral("ffprobe"));
}

QString InputArg(const QString& arg)
{
    if (arg.startsWith(QLatin1String("http://"), Qt::CaseInsensitive) || arg.startsWith(QLatin1String("https://"), Qt::CaseInsensitive))
        return arg;
    return QFileInfo(arg).absoluteFilePath();
}

qint64 MediaSeconds(const QString& file)
{
    const QString probe = FindProbe();
    if (probe.isEmpty() || !QFileInfo(file).isFile())
        return -1;
    QProcess p;
    p.start(probe, {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                    QStringLiteral("format=duration"), QStringLiteral("-of"),
                    QStringLiteral("default=noprint_wrappers=1:nokey=1"), file});
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished();
        return -1;
    }
    if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
        return -1;
    bool ok = false;
    const double seconds = QString::fromUtf8(p.readAllStandardOutput()).trimmed().toDouble(&ok);
    return ok ? static_cast<qint64>(seconds) : -1;
}

bool TakeOption(QStringList& args, const QString& name, QString* value)
{
    const int i = args.indexOf(name);
    if (i < 0)
        return true;
    if (i + 1 >= args.size())
        return false;
    *value = args.at(i + 1);
    args.removeAt(i + 1);
    args.removeAt(i);
    return true;
}

bool TakeFlag(QStringList& args, const QString& name)
{
    return args.removeAll(name) > 0;
}

bool TakeParams(QStringList& args, QVariantMap& params, QString* error)
{
    for (int i = 0; i < args.size();) {
        const QString opt = args.at(i);
        if (opt != QLatin1String("--param") && opt != QLatin1String("--params")) {
            ++i;
            continue;
        }
        if (i + 1 >= args.size()) {
            *error = QStringLiteral("%1 needs a value").arg(opt);
            return false;
        }
        const QString value = args.at(i + 1);
        args.removeAt(i + 1);
        args.removeAt(i);
        const bool ok = opt == QLatin1String("--param") ? CParamParser::ParseItem(value, params, error)
                                                        : CParamParser::ParseFile(value, params, error);
        if (!ok)
            return false;
    }
    return true;
}

int TakeFileCommand(QStringList& args, const char* command, QVariantMap& params, bool& verbose, const QString& mustHave)
{
    g_batch.reset();
    verbose = TakeFlag(args, QStringLiteral("--verbose"));
    QString saveDir, error;
    QVariantMap overrides;
    CBatchOptions batch;
    if (!TakeOption(args, QStringLiteral("--save-dir"), &saveDir))
        return Usage(QStringLiteral("--save-dir is missing its value"));
    if (!TakeParams(args, overrides, &error) || !batch.Take(args, &error))
        return Usage(error);
    if ((batch.items.isEmpty() && batch.fromList.isEmpty()) || saveDir.isEmpty())
        return Usage(QStringLiteral("%1 needs a FILE and --save-dir DIR%2").arg(QLatin1String(command), mustHave));
    params.insert(QStringLiteral("sFile"), batch.items.isEmpty() ? QString() : InputArg(batch.items.first()));
    params.insert(QStringLiteral("sSaveDir"), QFileInfo(saveDir).absoluteFilePath());
    for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
        params.insert(it.key(), it.value());
    if (!batch.IsSingle())
        g_batch = PendingBatch{batch, QLatin1String(command)};
    return -1;
}

int TakeInputCommand(QStringList& args, const char* command, QVariantMap& params, const QString& journalDir,
                     const QString& usageError)
{
    g_batch.reset();
    CBatchOptions batch;
    QString error;
    if (!batch.Take(args, &error))
        return Usage(error);
    if ((batch.items.isEmpty() && batch.fromList.isEmpty()) || journalDir.isEmpty())
        return Usage(usageError);
    params.insert(QStringLiteral("sFile"), batch.items.isEmpty() ? QString() : InputArg(batch.items.first()));
    if (batch.IsSingle())
        return -1;
    if (batch.journal.isEmpty())
        batch.journal = QFileInfo(journalDir).absoluteFilePath() + QStringLiteral("/zrwork-") + QLatin1String(command) + QStringLiteral(".journal");
    g_batch = PendingBatch{batch, QLatin1String(command)};
    return -1;
}

bool BatchPending()
{
    return g_batch.has_value();
}

QString WorkToolsDir()
{
    const QString bin = QCoreApplication::applicationDirPath();
    for (const QString& rel : {QStringLiteral("/../worktools"), QStringLiteral("/../lib/zrworklib/worktools")}) {
        const QFileInfo dir(bin + rel);
        if (dir.isDir())
            return dir.canonicalFilePath();
    }
    return QString();
}

namespace {

// The message of the last Warn or Error line the library logged, if any.
QString LastProblem()
{
    const QStringList problems = CCliHost::Problems();
    if (problems.isEmpty())
        return QString();
    QString line = problems.last();
    const QRegExp marker(QStringLiteral(" (Error>>>|Warn>>) "));
    const int at = marker.indexIn(line);
    return at < 0 ? line : line.mid(at + marker.matchedLength());
}

void SayFailure(const QVariantMap& finished, const QString& why)
{
    std::fprintf(stderr, "zrwork: the work failed: %s\n", why.toUtf8().constData());
    const QString hint = finished.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("sHint")).toString();
    if (!hint.isEmpty())
        std::fprintf(stderr, "zrwork: %s\n", hint.toUtf8().constData());
}

} // namespace

QString StylesDir()
{
    const QString tools = WorkToolsDir();
    return tools.isEmpty() ? QString() : tools + QStringLiteral("/styles");
}

QString StyleModel(const QString& nameOrPath)
{
    const QString shipped = StylesDir() + QLatin1Char('/') + nameOrPath + QStringLiteral(".onnx");
    if (!nameOrPath.contains(QLatin1Char('/')) && !QFileInfo::exists(nameOrPath) && QFileInfo::exists(shipped))
        return shipped;
    return QFileInfo(nameOrPath).absoluteFilePath();
}

int RunAndPrint(CCliHost& host, int type, const QVariantMap& params, QVariantMap* finished, const InputHook& prepare)
{
    if (g_batch) {
        const PendingBatch batch = *g_batch;
        g_batch.reset();
        if (finished)
            finished->clear();
        return CBatchRunner(host, type, batch.verb, params, batch.options, prepare).Run();
    }
    QVariantMap one = params;
    if (prepare)
        prepare(one);
    QVariantMap map;
    const int status = host.RunWork(type, one, &map);
    if (status == 2) {
        std::fprintf(stderr, "zrwork: no work of type %d is available\n", type);
        return 2;
    }
    PrintJson(map);
    if (finished)
        *finished = map;
    const QString resMsg = map.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("resMsg")).toString();
    if (status != 0)
        SayFailure(map, resMsg.isEmpty() ? QStringLiteral("no finished map arrived") : resMsg);
    return status;
}

QString OutFile(const QVariantMap& finished)
{
    const QString key = QStringLiteral("sOutFile");
    const QString result = finished.value(QStringLiteral("res_data")).toMap().value(key).toString();
    return result.isEmpty() ? finished.value(QStringLiteral("user_data")).toMap().value(key).toString() : result;
}

int RunForFile(CCliHost& host, int type, const QVariantMap& params, QVariantMap* finished, const InputHook& prepare)
{
    // A batch judges each input's output itself.
    const bool batch = g_batch.has_value();
    QVariantMap map;
    const int status = RunAndPrint(host, type, params, &map, prepare);
    if (finished)
        *finished = map;
    if (batch || status != 0 || !OutFile(map).isEmpty())
        return status;
    // Some works report a failed step only by leaving their output out.
    const QString problem = LastProblem();
    SayFailure(map, QStringLiteral("no output file was written") + (problem.isEmpty() ? QString() : QStringLiteral(" (") + problem + QLatin1Char(')')));
    return 1;
}

} // namespace zrcli
