// zrwork: runs the library's works from the command line.

#include "CCliHost.h"
#include "CParamParser.h"
#include "CliCommon.h"
#include "CSegmentJoiner.h"
#include "CmdAudio.h"
#include "CmdColour.h"
#include "CmdFetch.h"
#include "CmdFace.h"
#include "CmdFilter.h"
#include "CmdMotion.h"
#include "CmdOcr.h"
#include "CmdOffice.h"
#include "CmdPlay.h"

#include "WorkTypes.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

using namespace zrcli;

// The work table's rows, each checked against the library it runs on.
int CmdTypes()
{
    CCliHost host(false, AppData());
    for (const WorkTypeInfo& info : kWorkTypes) {
        CDetWork* work = host.Lib()->CreateWork(info.nType);
        const bool available = work != nullptr;
        host.Lib()->ReleaseWork(work); // also drops the factory's null entry
        std::printf("%2d  %-22s %-12s %-10s %-11s %s\n", info.nType, info.sClass, WorkFamilyName(info.enFamily),
                    info.sVerb, available ? "available" : "unavailable", info.sDescription);
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
    if (!TakeParams(args, params, &error))
        return Usage(error);
    if (!args.isEmpty())
        return Usage(QStringLiteral("unknown option %1").arg(args.first()));
    CCliHost host(verbose, AppData());
    return RunAndPrint(host, type, params);
}

int CmdVoice(QStringList args)
{
    const bool merge = TakeFlag(args, QStringLiteral("--merge"));
    const bool join = TakeFlag(args, QStringLiteral("--join"));
    QString decibel = QStringLiteral("30"), minSec = QStringLiteral("1");
    if (!TakeOption(args, QStringLiteral("--decibel"), &decibel) || !TakeOption(args, QStringLiteral("--min-sec"), &minSec))
        return Usage(QStringLiteral("an option is missing its value"));
    QVariantMap params;
    QString error;
    if (!CParamParser::ParseItem(QStringLiteral("nDecibel=") + decibel, params, &error)
        || !CParamParser::ParseItem(QStringLiteral("dMinSec=") + minSec, params, &error))
        return Usage(error);
    params.insert(QStringLiteral("bMergeVideo"), merge);
    bool verbose = false;
    const int usage = TakeFileCommand(args, "voice", params, verbose);
    if (usage >= 0)
        return usage;
    if (join && BatchPending())
        return Usage(QStringLiteral("--join joins the segments of one FILE"));

    // The work cuts by the length it is told, so each input's own is read first.
    const auto duration = [](QVariantMap& one) {
        const QString file = one.value(QStringLiteral("sFile")).toString();
        const qint64 seconds = MediaSeconds(file);
        if (seconds < 0)
            std::fprintf(stderr, "zrwork: cannot read the length of %s; going on with 0\n", file.toUtf8().constData());
        one.insert(QStringLiteral("nDuration"), qMax<qint64>(seconds, 0));
    };
    const bool batch = BatchPending();
    CCliHost host(verbose, AppData());
    QVariantMap finished;
    const int status = RunAndPrint(host, 5, params, &finished, duration);
    if (status != 0 || batch || (!merge && !join))
        return status;

    const QString folder = finished.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("sOutDir")).toString();
    const QString name = QFileInfo(folder).fileName();
    if (merge && !QFileInfo::exists(folder + QStringLiteral("/azr-") + name + QStringLiteral(".mp4"))) {
        std::fputs("zrwork: --merge produced no joined file: the library's merge list holds bare file names, which "
                   "ffmpeg's concat reader refuses; --join joins the segments\n",
                   stderr);
    }
    if (!join)
        return status;
    const QString joined = folder + QStringLiteral("/joined-") + name + QStringLiteral(".mp4");
    const QString why = CSegmentJoiner::Join(CSegmentJoiner::SegmentFiles(folder), joined, FindTool(QStringLiteral("ffmpeg")));
    if (!why.isEmpty()) {
        std::fprintf(stderr, "zrwork: --join produced no file: %s\n", why.toUtf8().constData());
        return 1;
    }
    std::fprintf(stderr, "joined: %s\n", joined.toUtf8().constData());
    return 0;
}

int CmdList(QStringList args)
{
    QString store, model, offset = QStringLiteral("0"), count = QStringLiteral("100");
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

    if (!model.isEmpty() && model != QLatin1String("face") && model != QLatin1String("move"))
        return Usage(QStringLiteral("unknown model name %1 (face or move)").arg(model));
    // Listing must not write: a mistyped folder would otherwise become a new store.
    const QFileInfo storeDir(store);
    if (!storeDir.isDir()) {
        std::fprintf(stderr, "zrwork: there is no store folder %s\n", storeDir.absoluteFilePath().toUtf8().constData());
        return 1;
    }
    if (!QFileInfo(storeDir.absoluteFilePath() + QStringLiteral("/zrModelData/videofile.fdb")).isFile()) {
        std::fprintf(stderr, "zrwork: %s holds no catalogue (zrModelData/videofile.fdb)\n",
                     storeDir.absoluteFilePath().toUtf8().constData());
        return 1;
    }

    CCliHost host(false, AppData());
    host.Lib()->InitModelStore(storeDir.absoluteFilePath());
    // Without --model, every model's rows: face first, then move, with offset and count
    // over the two lists as one; each row says its model in "sKind".
    const QStringList models = model.isEmpty() ? QStringList{QStringLiteral("face"), QStringLiteral("move")}
                                               : QStringList{model};
    qint64 total = 0, skip = std::max<qint64>(nOffset, 0), left = std::max<qint64>(nCount, 0);
    QVariantList rows;
    bool ok = true;
    for (const QString& kind : models) {
        qint64 these = 0;
        const qint64 before = rows.size();
        ok = host.Lib()->ListVideoFiles(kind, skip, left, &these, [&rows, &kind](const QVariantMap& row) {
            QVariantMap tagged = row;
            tagged.insert(QStringLiteral("sKind"), kind);
            rows.append(tagged);
            return true;
        });
        if (!ok)
            break;
        total += these;
        left -= rows.size() - before;
        skip = std::max<qint64>(skip - these, 0);
    }
    QVariantMap out;
    out.insert(QStringLiteral("total"), total);
    out.insert(QStringLiteral("rows"), rows);
    if (!ok) {
        std::fputs("zrwork: the catalogue could not be read\n", stderr);
        for (const QString& line : CCliHost::Problems())
            std::fprintf(stderr, "  %s\n", line.toUtf8().constData());
        return 1;
    }
    PrintJson(out);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    // The preview window needs a GUI application, and only one application object can be made.
    if (argc > 1 && std::strcmp(argv[1], "play") == 0)
        return zrcli::CmdPlay(argc, argv);
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
    if (command == QLatin1String("text"))
        return CmdText(args);
    if (command == QLatin1String("unsilence"))
        return CmdUnsilence(args);
    if (command == QLatin1String("beautify"))
        return CmdBeautify(args);
    if (command == QLatin1String("style"))
        return CmdStyle(args);
    if (command == QLatin1String("upscale"))
        return CmdUpscale(args);
    if (command == QLatin1String("styles") && args.isEmpty())
        return CmdStyles();
    if (command == QLatin1String("reencode"))
        return CmdReencode(args);
    if (command == QLatin1String("motion"))
        return CmdMotion(args);
    if (command == QLatin1String("split"))
        return CmdSplit(args);
    if (command == QLatin1String("colour"))
        return CmdColour(args);
    if (command == QLatin1String("faces"))
        return CmdFaces(args);
    if (command == QLatin1String("who"))
        return CmdWho(args);
    if (command == QLatin1String("ocr"))
        return CmdOcr(args);
    if (command == QLatin1String("pdf"))
        return zrcli::CmdPdf(args);
    if (command == QLatin1String("docx"))
        return zrcli::CmdDocx(args);
    if (command == QLatin1String("fetch"))
        return zrcli::CmdFetch(args);
    if (command == QLatin1String("--help") || command == QLatin1String("-h") || command == QLatin1String("help")) {
        PrintUsage();
        return 0;
    }
    return Usage(QStringLiteral("unknown command %1").arg(command));
}
