// zrwork: runs the library's works from the command line.

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
#include <QStringList>

#include <cstdio>

namespace {

const char kUsage[] =
    "usage:\n"
    "  zrwork types\n"
    "  zrwork run TYPE [--param key=value ...] [--params file.json] [--verbose]\n"
    "  zrwork voice FILE --save-dir DIR [--decibel N] [--min-sec X] [--merge] [--verbose]\n"
    "  zrwork list --store DIR [--model face|move] [--offset N] [--count N]\n"
    "Parameters are typed by the prefix of their key: s text, n integer, d number,\n"
    "b true/false, map or js (or a value starting with '{') a JSON object.\n"
    "The finished map is printed as JSON; the exit status is 0 when \"resMsg\" is empty.\n";

int Usage(const QString& error = QString())
{
    if (!error.isEmpty())
        std::fprintf(stderr, "zrwork: %s\n", error.toUtf8().constData());
    std::fputs(kUsage, stderr);
    return 2;
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

// ffprobe is looked up where the library looks for ffmpeg: beside the application first.
QString FindProbe()
{
    const QString local = QCoreApplication::applicationDirPath() + QStringLiteral("/ffprobe");
    if (QFileInfo(local).isExecutable())
        return local;
    return QStandardPaths::findExecutable(QStringLiteral("ffprobe"));
}

// Whole seconds of the media, or -1 when it cannot be read.
qint64 MediaSeconds(const QString& file)
{
    const QString probe = FindProbe();
    if (probe.isEmpty())
        return -1;
    QProcess p;
    p.start(probe, {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                    QStringLiteral("format=duration"), QStringLiteral("-of"),
                    QStringLiteral("default=noprint_wrappers=1:nokey=1"), file});
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
        return -1;
    bool ok = false;
    const double seconds = QString::fromUtf8(p.readAllStandardOutput()).trimmed().toDouble(&ok);
    return ok ? static_cast<qint64>(seconds) : -1;
}

// Takes "--name value" out of args; false when the option is present without a value.
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

int RunAndPrint(CCliHost& host, int type, const QVariantMap& params)
{
    QVariantMap finished;
    const int status = host.RunWork(type, params, &finished);
    if (status == 2) {
        std::fprintf(stderr, "zrwork: no work of type %d is available\n", type);
        return 2;
    }
    PrintJson(finished);
    return status;
}

int CmdTypes()
{
    CCliHost host(false, AppData());
    for (int type = 0; type <= 15; ++type) {
        CDetWork* work = host.Lib()->CreateWork(type);
        const bool available = work != nullptr;
        host.Lib()->ReleaseWork(work); // also drops the factory's null entry
        const QString name = type == 11 ? QStringLiteral("(unassigned)") : CCliHost::TypeName(type);
        std::printf("%2d  %-22s %s\n", type, name.toUtf8().constData(), available ? "available" : "unavailable");
    }
    return 0;
}

int CmdRun(QStringList args)
{
    const bool verbose = TakeFlag(args, QStringLiteral("--verbose"));
    if (args.isEmpty())
        return Usage(QStringLiteral("run needs a work type"));
    bool ok = false;
    const int type = args.takeFirst().toInt(&ok);
    if (!ok)
        return Usage(QStringLiteral("the work type must be a number"));
    QVariantMap params;
    QString error;
    while (!args.isEmpty()) {
        const QString opt = args.takeFirst();
        if (args.isEmpty())
            return Usage(QStringLiteral("%1 needs a value").arg(opt));
        const QString value = args.takeFirst();
        if (opt == QLatin1String("--param")) {
            if (!CParamParser::ParseItem(value, params, &error))
                return Usage(error);
        } else if (opt == QLatin1String("--params")) {
            if (!CParamParser::ParseFile(value, params, &error))
                return Usage(error);
        } else {
            return Usage(QStringLiteral("unknown option %1").arg(opt));
        }
    }
    CCliHost host(verbose, AppData());
    return RunAndPrint(host, type, params);
}

int CmdVoice(QStringList args)
{
    const bool verbose = TakeFlag(args, QStringLiteral("--verbose"));
    const bool merge = TakeFlag(args, QStringLiteral("--merge"));
    QString saveDir, decibel = QStringLiteral("30"), minSec = QStringLiteral("1");
    if (!TakeOption(args, QStringLiteral("--save-dir"), &saveDir) || !TakeOption(args, QStringLiteral("--decibel"), &decibel)
        || !TakeOption(args, QStringLiteral("--min-sec"), &minSec))
        return Usage(QStringLiteral("an option is missing its value"));
    if (args.size() != 1 || saveDir.isEmpty())
        return Usage(QStringLiteral("voice needs one FILE and --save-dir DIR"));
    bool okDb = false, okMin = false;
    const int nDecibel = decibel.toInt(&okDb);
    const double dMinSec = minSec.toDouble(&okMin);
    if (!okDb || !okMin)
        return Usage(QStringLiteral("--decibel wants an integer and --min-sec a number"));

    const QString file = QFileInfo(args.first()).absoluteFilePath();
    const qint64 seconds = MediaSeconds(file);
    if (seconds < 0)
        std::fprintf(stderr, "zrwork: cannot read the length of %s; going on with 0\n", file.toUtf8().constData());

    QVariantMap params;
    params.insert(QStringLiteral("sFile"), file);
    params.insert(QStringLiteral("sSaveDir"), QFileInfo(saveDir).absoluteFilePath());
    params.insert(QStringLiteral("nDuration"), qMax<qint64>(seconds, 0));
    params.insert(QStringLiteral("nDecibel"), nDecibel);
    params.insert(QStringLiteral("dMinSec"), dMinSec);
    params.insert(QStringLiteral("bMergeVideo"), merge);
    CCliHost host(verbose, AppData());
    return RunAndPrint(host, 5, params);
}

int CmdList(QStringList args)
{
    QString store, model = QStringLiteral("face"), offset = QStringLiteral("0"), count = QStringLiteral("100");
    if (!TakeOption(args, QStringLiteral("--store"), &store) || !TakeOption(args, QStringLiteral("--model"), &model)
        || !TakeOption(args, QStringLiteral("--offset"), &offset) || !TakeOption(args, QStringLiteral("--count"), &count))
        return Usage(QStringLiteral("an option is missing its value"));
    if (!args.isEmpty() || store.isEmpty())
        return Usage(QStringLiteral("list needs --store DIR"));
    bool okOffset = false, okCount = false;
    const qint64 nOffset = offset.toLongLong(&okOffset);
    const qint64 nCount = count.toLongLong(&okCount);
    if (!okOffset || !okCount)
        return Usage(QStringLiteral("--offset and --count want integers"));

    CCliHost host(false, AppData());
    host.Lib()->InitModelStore(QFileInfo(store).absoluteFilePath());
    qint64 total = 0;
    QVariantList rows;
    const bool ok = host.Lib()->ListVideoFiles(model, nOffset, nCount, &total, [&rows](const QVariantMap& row) {
        rows.append(row);
        return true;
    });
    QVariantMap out;
    out.insert(QStringLiteral("total"), total);
    out.insert(QStringLiteral("rows"), rows);
    PrintJson(out);
    if (!ok)
        std::fprintf(stderr, "zrwork: the catalogue could not be read\n");
    return ok ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    if (args.isEmpty())
        return Usage();
    const QString command = args.takeFirst();
    if (command == QLatin1String("types") && args.isEmpty())
        return CmdTypes();
    if (command == QLatin1String("run"))
        return CmdRun(args);
    if (command == QLatin1String("voice"))
        return CmdVoice(args);
    if (command == QLatin1String("list"))
        return CmdList(args);
    if (command == QLatin1String("--help") || command == QLatin1String("-h") || command == QLatin1String("help")) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    return Usage(QStringLiteral("unknown command %1").arg(command));
}
