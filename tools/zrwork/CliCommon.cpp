#include "CliCommon.h"

#include "CCliHost.h"
#include "CParamParser.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>

#include <cstdio>

namespace zrcli {

namespace {
const char kUsage[] =
    "usage:\n"
    "  zrwork types\n"
    "  zrwork run TYPE [--param key=value ...] [--params file.json] [--verbose]\n"
    "  zrwork voice FILE --save-dir DIR [--decibel N] [--min-sec X] [--merge] [--join] [--verbose]\n"
    "  zrwork list --store DIR [--model face|move] [--offset N] [--count N]\n"
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
    "  zrwork faces FILE --store DIR [--people DIR] [--save-dir DIR] [--step K] [--min-face N] [--verbose]\n"
    "      (prints the finished map, then each person's time stretches)\n"
    "  zrwork who PICTURE --store DIR [--max-dist D]   (the analysed files that show the picture's face)\n"
    "  zrwork ocr FILE --save-dir DIR [--verbose]   (prints the finished map, then the text)\n"
    "  zrwork pdf FILE.docx --save-dir DIR [--verbose]\n"
    "  zrwork docx FILE.pdf --save-dir DIR [--verbose]\n"
    "Parameters are typed by the prefix of their key: s text, n integer, d number,\n"
    "b true/false, map or js (or a value starting with '{') a JSON object.\n"
    "Commands that name a FILE take --param/--params too, to add or override parameters.\n"
    "The finished map is printed as JSON; the exit status is 0 when \"resMsg\" is empty.\n";
} // namespace

int Usage(const QString& error)
{
    if (!error.isEmpty())
        std::fprintf(stderr, "zrwork: %s\n", error.toUtf8().constData());
    std::fputs(kUsage, stderr);
    return 2;
}

void PrintUsage()
{
    std::fputs(kUsage, stdout);
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
    verbose = TakeFlag(args, QStringLiteral("--verbose"));
    QString saveDir, error;
    QVariantMap overrides;
    if (!TakeOption(args, QStringLiteral("--save-dir"), &saveDir))
        return Usage(QStringLiteral("--save-dir is missing its value"));
    if (!TakeParams(args, overrides, &error))
        return Usage(error);
    if (args.size() != 1 || saveDir.isEmpty())
        return Usage(QStringLiteral("%1 needs one FILE and --save-dir DIR%2").arg(QLatin1String(command), mustHave));
    params.insert(QStringLiteral("sFile"), QFileInfo(args.first()).absoluteFilePath());
    params.insert(QStringLiteral("sSaveDir"), QFileInfo(saveDir).absoluteFilePath());
    for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
        params.insert(it.key(), it.value());
    return -1;
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

int RunAndPrint(CCliHost& host, int type, const QVariantMap& params, QVariantMap* finished)
{
    QVariantMap map;
    const int status = host.RunWork(type, params, &map);
    if (status == 2) {
        std::fprintf(stderr, "zrwork: no work of type %d is available\n", type);
        return 2;
    }
    PrintJson(map);
    if (finished)
        *finished = map;
    return status;
}

} // namespace zrcli
