// Motion analysis against a bare OpenCV decode loop over the same file, in one run:
//  1. step 1 (every frame measured) without the store, and the store's first run
//     (rows written in transactions): time against the bare loop (goal: at most 1.15);
//  2. steps 3 .. 100 without the store: speed-up against the bare loop;
//  3. model rows written per second in the first stored run, and the second (stored)
//     run's time against the first.
// Each timing is the median of RUNS runs (default 3), baseline and analysis alternating
// (and taking turns at going first).
//
// Usage: bench_motion [RUNS] [video file, default a generated 60 s 1280x720 clip]

#include "bench/BenchClip.h"
#include "core/CData.h"
#include "core/CWorkLib.h"
#include "store/CDBStore.h"
#include "works/analysis/CMoveAnalysis.h"
#include "works/analysis/CMoveWorkBase.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <vector>

using BenchClip::BareDecode;
using BenchClip::Median;
using BenchClip::Seconds;

namespace {

void Quiet(WorkLibRs, const QVariant&) {}

// One analysis; its sample count, or -1 on failure.
qint64 Analyse(const QString& file, int step)
{
    bool ok = true;
    CMoveAnalysis analysis(CMoveWorkBase::Normalise({{"sFile", file}, {"nStep", step}}, 2, &ok));
    if (!analysis.Run([] { return true; }, [](int) {}).isEmpty())
        return -1;
    return analysis.Samples().size();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int runs = BenchClip::RunsArg(argc, argv);
    QTemporaryDir tmp;
    CreateWorkLib(&Quiet, QVariantMap{{QStringLiteral("appData"), tmp.path()}});
    const QString file = BenchClip::ClipArg(argc, argv, tmp, 60);
    if (file.isEmpty())
        return 1;

    qint64 frames = 0;
    std::vector<double> bare, step1;
    BenchClip::TakeTurns(
        runs, [&] { bare.push_back(Seconds([&] { frames = BareDecode(file); })); },
        [&] { step1.push_back(Seconds([&] { Analyse(file, 0); })); });
    const double bareS = Median(bare);
    std::printf("frames: %lld, runs: %d\n", static_cast<long long>(frames), runs);
    std::printf("bare decode loop:            %.3f s (%.0f frames/s)\n", bareS, frames / bareS);
    std::printf("analysis, step 1, no store:  %.3f s  ratio %.3f\n", Median(step1), Median(step1) / bareS);
    for (int index = 1; index <= 6; ++index) {
        std::vector<double> t;
        for (int i = 0; i < runs; ++i)
            t.push_back(Seconds([&] { Analyse(file, index); }));
        std::printf("analysis, step %3d:          %.3f s  speed-up %.2fx\n",
                    WorkBaseData::CData::GetInstance()->GetStep(index), Median(t), bareS / Median(t));
    }

    // Each stored run needs a file the catalogue has not seen: a copy with one more
    // trailing byte each time (demuxers skip it; the fingerprint does not).
    CDBStore::GetInstance()->InitDBTable({{QStringLiteral("saveDir"), tmp.filePath(QStringLiteral("store"))}});
    qint64 rows = 0;
    std::vector<double> bare2, first, second;
    for (int i = 0; i < runs; ++i) {
        const QString copy = tmp.filePath(QStringLiteral("copy%1.mp4").arg(i));
        QFile::copy(file, copy);
        QFile tail(copy);
        if (!tail.open(QIODevice::Append) || tail.write(QByteArray(i + 1, '\0')) != i + 1)
            return 1;
        tail.close();
        bare2.push_back(Seconds([&] { BareDecode(copy); }));
        first.push_back(Seconds([&] { rows = Analyse(copy, 0); }));
        second.push_back(Seconds([&] { Analyse(copy, 0); }));
        QFile::remove(copy);
    }
    std::printf("store, first run, step 1:    %.3f s  ratio %.3f to the bare loop (%.3f s), %.0f rows/s\n", Median(first),
                Median(first) / Median(bare2), Median(bare2), rows / Median(first));
    std::printf("store, second (stored) run:  %.3f s  %.4f of the first\n", Median(second), Median(second) / Median(first));
    return rows > 0 ? 0 : 1;
}
