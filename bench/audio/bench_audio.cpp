// The audio works inside a host process (the library loaded once, as a desktop host
// has it) against the same tool chains run by a plain shell script, alternating runs.
// Prints the median wall time of each and the ratio (library / script).
//
// Usage: bench_audio TYPE MEDIA SAVE_DIR SCRIPT RUNS [key=value ...]
//   TYPE 12 (speech to text) or 9 (silence removal); SCRIPT is run with bash after
//   SAVE_DIR is emptied; key=value pairs are added to the work's parameters.

#include "base/PubUtils.h"
#include "core/CWorkLib.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

void Ignore(WorkLibRs, const QVariant&) {}

double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 6) {
        std::fprintf(stderr, "usage: bench_audio TYPE MEDIA SAVE_DIR SCRIPT RUNS [key=value ...]\n");
        return 2;
    }
    const int type = args.at(1).toInt();
    const QString saveDir = args.at(3), script = args.at(4);
    const int runs = std::max(1, args.at(5).toInt());
    QVariantMap params{{"sFile", args.at(2)}, {"sSaveDir", saveDir}};
    for (const QString& pair : args.mid(6))
        params.insert(pair.section('=', 0, 0), pair.section('=', 1));

    CWorkLib* lib = CreateWorkLib(&Ignore, QVariantMap{{"appData", QDir::tempPath()}});
    std::vector<double> libTimes, shTimes;
    for (int i = 0; i < runs; ++i) {
        WorkBaseData::PubUtils::RemoveDir(saveDir);
        QElapsedTimer t;
        t.start();
        CDetWork* work = lib->CreateWork(type);
        work->SetParams(params);
        work->StartWork();
        work->JoinWork(3600000);
        libTimes.push_back(t.elapsed() / 1000.0);
        lib->ReleaseWork(work);

        WorkBaseData::PubUtils::RemoveDir(saveDir);
        t.restart();
        QProcess::execute("bash", {script});
        shTimes.push_back(t.elapsed() / 1000.0);
    }
    ReleaseWorkLib(lib);
    const double l = Median(libTimes), s = Median(shTimes);
    std::printf("type %d: library median %.3f s, script median %.3f s, ratio %.3f (%d passes)\n", type, l, s, l / s, runs);
    return 0;
}
