// The preview player against a bare OpenCV decode loop over the same file, in one run:
//  1. the player as fast as it decodes ("dSpeed" 0, thread start and file opening
//     included) against the bare loop (goal: at most 1.1), medians of RUNS runs taking
//     turns at going first;
//  2. the delay from a frame's hand-over (decoded and filtered; at a pace, held until
//     its time) to a "curFrame" question seeing it ("nAgeUs" at the first question that
//     sees each frame), with the host asking in a tight loop: as fast as possible, and
//     at the media's pace. A question itself costs a picture conversion, which bounds
//     how soon the next one can look.
//
// Usage: bench_play [RUNS] [video file, default a generated 20 s 1280x720 25 fps clip]

#include "bench/BenchClip.h"
#include "core/CWorkLib.h"
#include "works/filter/CDetPlayWork.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

using BenchClip::BareDecode;
using BenchClip::Median;
using BenchClip::Seconds;

namespace {

void Quiet(WorkLibRs, const QVariant&) {}

template <typename T>
T Quantile(std::vector<T> v, double q)
{
    if (v.empty())
        return T();
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<size_t>(q * v.size()))];
}

// One whole run of the player; the frames it showed.
qint64 Play(const QString& file, double speed, const std::function<void(CDetPlayWork&)>& whilePlaying = nullptr)
{
    CDetPlayWork work;
    work.SetParams({{"sFile", file}, {"dSpeed", speed}});
    work.StartWork();
    if (whilePlaying)
        whilePlaying(work);
    work.JoinWork(600000);
    return work.Result().value("nShown").toLongLong();
}

// Ages (µs) of each new frame at the first question that sees it, until the run ends or
// seconds have passed.
std::vector<qint64> Ages(CDetPlayWork& work, double seconds)
{
    std::vector<qint64> ages;
    qint64 last = -1;
    QElapsedTimer timer;
    timer.start();
    while (!work.IsFinished() && timer.elapsed() < seconds * 1000) {
        work.QueryWork({{"type", "curFrame"}}, [&](const QVariantMap& m) {
            const qint64 frame = m.value("nFrame").toLongLong();
            if (frame != last)
                ages.push_back(m.value("nAgeUs").toLongLong());
            last = frame;
            return true;
        });
    }
    work.StopWork();
    return ages;
}

void PrintAges(const char* what, const std::vector<qint64>& ages)
{
    std::printf("%-40s frames seen %4zu  median %6lld us  p95 %6lld us\n", what, ages.size(),
                static_cast<long long>(Quantile(ages, 0.5)), static_cast<long long>(Quantile(ages, 0.95)));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int runs = BenchClip::RunsArg(argc, argv);
    QTemporaryDir tmp;
    CreateWorkLib(&Quiet, QVariantMap{{QStringLiteral("appData"), tmp.path()}});
    const QString file = BenchClip::ClipArg(argc, argv, tmp, 20);
    if (file.isEmpty())
        return 1;

    qint64 frames = 0, shown = 0;
    std::vector<double> bare, player;
    BenchClip::TakeTurns(
        runs, [&] { bare.push_back(Seconds([&] { frames = BareDecode(file); })); },
        [&] { player.push_back(Seconds([&] { shown = Play(file, 0); })); });
    const double bareS = Median(bare), playS = Median(player);
    std::printf("frames: %lld (player showed %lld), runs: %d\n", static_cast<long long>(frames),
                static_cast<long long>(shown), runs);
    std::printf("bare decode loop:                        %.3f s (%.0f frames/s)\n", bareS, frames / bareS);
    std::printf("player, as fast as possible:             %.3f s  ratio %.3f\n", playS, playS / bareS);

    std::vector<qint64> fast, paced;
    Play(file, 0, [&](CDetPlayWork& work) { fast = Ages(work, 600); });
    Play(file, 1, [&](CDetPlayWork& work) { paced = Ages(work, 4); });
    PrintAges("decode to curFrame, as fast as possible:", fast);
    PrintAges("decode to curFrame, media pace (4 s):", paced);
    return shown == frames ? 0 : 1;
}
