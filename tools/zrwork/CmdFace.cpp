#include "CmdFace.h"

#include "CCliHost.h"
#include "CliCommon.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <cstdio>

namespace zrcli {

namespace {

// The shipped model folder, unless --param sWorkPath=... names another.
void AddModels(QVariantMap& params)
{
    if (!params.contains(QStringLiteral("sWorkPath")) && !WorkToolsDir().isEmpty())
        params.insert(QStringLiteral("sWorkPath"), WorkToolsDir() + QStringLiteral("/faces"));
}

QString Stretches(const QVariantList& list)
{
    QStringList out;
    for (const QVariant& v : list) {
        const QVariantMap s = v.toMap();
        out << QStringLiteral("%1-%2 s").arg(s.value(QStringLiteral("startTs")).toDouble(), 0, 'f', 1)
                   .arg(s.value(QStringLiteral("endTs")).toDouble(), 0, 'f', 1);
    }
    return out.join(QStringLiteral(", "));
}

} // namespace

int CmdFaces(QStringList args)
{
    const bool verbose = TakeFlag(args, QStringLiteral("--verbose"));
    QString store, people, saveDir, step, minFace, error;
    if (!TakeOption(args, QStringLiteral("--store"), &store) || !TakeOption(args, QStringLiteral("--people"), &people)
        || !TakeOption(args, QStringLiteral("--save-dir"), &saveDir) || !TakeOption(args, QStringLiteral("--step"), &step)
        || !TakeOption(args, QStringLiteral("--min-face"), &minFace))
        return Usage(QStringLiteral("an option is missing its value"));
    QVariantMap params;
    if (!TakeParams(args, params, &error))
        return Usage(error);
    if (args.size() != 1 || store.isEmpty())
        return Usage(QStringLiteral("faces needs one FILE and --store DIR"));
    bool good = true;
    if (!step.isEmpty()) {
        const int k = step.toInt(&good);
        if (!good || k < 0 || k > 6)
            return Usage(QStringLiteral("--step wants 0..6 (frames 1, 3, 6, 10, 20, 40, 100)"));
        params.insert(QStringLiteral("nStep"), k);
    }
    if (!minFace.isEmpty()) {
        const int n = minFace.toInt(&good);
        if (!good || n < 20 || n > 4096)
            return Usage(QStringLiteral("--min-face wants 20..4096 pixels"));
        params.insert(QStringLiteral("nMinFace"), n);
    }
    params.insert(QStringLiteral("sFile"), QFileInfo(args.first()).absoluteFilePath());
    if (!people.isEmpty())
        params.insert(QStringLiteral("sPeople"), QFileInfo(people).absoluteFilePath());
    if (!saveDir.isEmpty())
        params.insert(QStringLiteral("sSaveDir"), QFileInfo(saveDir).absoluteFilePath());
    AddModels(params);

    CCliHost host(verbose, AppData());
    host.Lib()->InitModelStore(QFileInfo(store).absoluteFilePath());
    QVariantMap finished;
    const int status = RunAndPrint(host, 3, params, &finished);
    if (status != 0)
        return status;
    for (const QVariant& v : finished.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("lstPeople")).toList()) {
        const QVariantMap person = v.toMap();
        const QString name = person.value(QStringLiteral("sName")).toString();
        std::printf("%s: %s\n",
                    (name.isEmpty() ? QStringLiteral("person %1").arg(person.value(QStringLiteral("nPerson")).toInt()) : name)
                        .toUtf8().constData(),
                    Stretches(person.value(QStringLiteral("lstStretches")).toList()).toUtf8().constData());
    }
    return 0;
}

int CmdWho(QStringList args)
{
    QString store, maxDist;
    if (!TakeOption(args, QStringLiteral("--store"), &store) || !TakeOption(args, QStringLiteral("--max-dist"), &maxDist))
        return Usage(QStringLiteral("an option is missing its value"));
    if (args.size() != 1 || store.isEmpty())
        return Usage(QStringLiteral("who needs one PICTURE and --store DIR"));
    // Asking must not write: a mistyped folder would otherwise become a new store.
    const QFileInfo storeDir(store);
    if (!QFileInfo(storeDir.absoluteFilePath() + QStringLiteral("/zrModelData/videofile.fdb")).isFile()) {
        std::fprintf(stderr, "zrwork: %s holds no catalogue (zrModelData/videofile.fdb)\n",
                     storeDir.absoluteFilePath().toUtf8().constData());
        return 1;
    }
    QVariantMap base;
    AddModels(base);
    if (!maxDist.isEmpty()) {
        bool good = false;
        const double d = maxDist.toDouble(&good);
        if (!good || d < 0 || d > 2)
            return Usage(QStringLiteral("--max-dist wants a number in 0..2"));
        base.insert(QStringLiteral("dMaxDist"), d);
    }

    CCliHost host(false, AppData());
    host.Lib()->InitModelStore(storeDir.absoluteFilePath());
    CDetWork* work = host.Lib()->CreateWork(3);
    QVariantMap reply;
    const auto ask = [&](QVariantMap question) {
        for (auto it = base.cbegin(); it != base.cend(); ++it)
            question.insert(it.key(), it.value());
        reply.clear();
        return work->QueryWork(question, [&](const QVariantMap& m) { reply = m; return true; });
    };
    // The picture's face is described once, then looked for in every analysed file.
    const QString picture = QFileInfo(args.first()).absoluteFilePath();
    if (!ask({{QStringLiteral("type"), QStringLiteral("detFaceImg")}, {QStringLiteral("file"), picture}})
        || reply.value(QStringLiteral("nFaces")).toInt() == 0) {
        const QString why = reply.value(QStringLiteral("resMsg")).toString();
        std::fprintf(stderr, "zrwork: %s: %s\n", picture.toUtf8().constData(),
                     why.isEmpty() ? "no face in the picture" : why.toUtf8().constData());
        host.Lib()->ReleaseWork(work);
        return 1;
    }
    const QVariant descriptor = reply.value(QStringLiteral("lstFaces")).toList().first().toMap().value(QStringLiteral("lstDesc"));

    QVariantList files;
    qint64 total = 0;
    host.Lib()->ListVideoFiles(QStringLiteral("face"), 0, 1 << 30, &total, [&files](const QVariantMap& row) {
        files.append(row);
        return true;
    });
    QElapsedTimer clock;
    clock.start();
    QVariantList found;
    for (const QVariant& v : files) {
        const QVariantMap row = v.toMap();
        if (!ask({{QStringLiteral("type"), QStringLiteral("findFace")},
                  {QStringLiteral("sModel"), row.value(QStringLiteral("sModel"))},
                  {QStringLiteral("lstDesc"), descriptor}})
            || reply.value(QStringLiteral("lstTimes")).toList().isEmpty())
            continue;
        found.append(QVariantMap{{QStringLiteral("sPath"), row.value(QStringLiteral("sPath"))},
                                 {QStringLiteral("dDistance"), reply.value(QStringLiteral("dDistance"))},
                                 {QStringLiteral("lstStretches"), reply.value(QStringLiteral("lstStretches"))}});
        std::fprintf(stderr, "%s: %s (distance %.2f)\n", row.value(QStringLiteral("sPath")).toString().toUtf8().constData(),
                     Stretches(reply.value(QStringLiteral("lstStretches")).toList()).toUtf8().constData(),
                     reply.value(QStringLiteral("dDistance")).toDouble());
    }
    host.Lib()->ReleaseWork(work);
    std::fprintf(stderr, "%d of %d analysed files show this face (searched in %lld ms)\n", static_cast<int>(found.size()),
                 static_cast<int>(files.size()), static_cast<long long>(clock.elapsed()));
    PrintJson(found);
    return 0;
}

} // namespace zrcli
