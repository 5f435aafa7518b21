// Colour analysis against a bare OpenCV decode loop over the same file, in one run:
// the work's own loop (CFrameSampler + CColourMeasure, every frame measured, three
// colours) against reading every frame (goal: at most 1.2), the measure alone against
// one frame's decode, then the larger steps.
// Each timing is the median of RUNS runs, the two sides alternating and taking turns
// at going first.
//
// Usage: bench_colour [RUNS] [video file, default a generated 30 s 1280x720 25 fps clip]

#include "bench/BenchClip.h"
#include "works/analysis/CColourMeasure.h"
#include "works/analysis/CFrameSampler.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <opencv2/videoio.hpp>

#include <algorithm>
#include <cstdio>
#include <vector>

using BenchClip::BareDecode;
using BenchClip::Median;
using BenchClip::Seconds;

namespace {

// The analysis loop of the colour work without its thread; the samples measured.
qint64 Analyse(const QString& file, int step)
{
    CFrameSampler sampler(step);
    if (!sampler.Open(file).isEmpty())
        return -1;
    QVector<CColourMeasure::Sample> samples;
    cv::Mat frame;
    qint64 id = 0, timeMs = 0;
    while (sampler.Next(frame, &id, &timeMs))
        samples.append({id, timeMs, CColourMeasure::Measure(frame, 3)});
    CColourMeasure::TimelineCsv(samples, 3);
    return samples.size();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int runs = BenchClip::RunsArg(argc, argv);
    QTemporaryDir tmp;
    const QString file = BenchClip::ClipArg(argc, argv, tmp, 30);
    if (file.isEmpty())
        return 1;

    qint64 frames = 0, samples = 0;
    std::vector<double> bare, step1;
    BenchClip::TakeTurns(
        runs, [&] { bare.push_back(Seconds([&] { frames = BareDecode(file); })); },
        [&] { step1.push_back(Seconds([&] { samples = Analyse(file, 1); })); });
    const double bareS = Median(bare);
    std::printf("frames: %lld, runs: %d\n", static_cast<long long>(frames), runs);
    std::printf("bare decode loop:          %.3f s (%.0f frames/s)\n", bareS, frames / bareS);
    std::printf("colour analysis, step 1:   %.3f s  ratio %.3f (%lld samples)\n", Median(step1), Median(step1) / bareS,
                static_cast<long long>(samples));
    // The measure alone on frames already decoded: a figure the machine's other load
    // moves less than the two whole loops above.
    {
        cv::VideoCapture capture(file.toStdString(), cv::CAP_FFMPEG);
        std::vector<cv::Mat> held(100);
        int n = 0;
        while (n < 100 && capture.read(held[n]))
            ++n;
        std::vector<double> t;
        for (int i = 0; i < runs; ++i)
            t.push_back(Seconds([&] {
                for (int k = 0; k < n; ++k)
                    CColourMeasure::Measure(held[k], 3);
            }));
        const double perFrame = Median(t) / std::max(1, n);
        std::printf("measure alone:             %.3f ms a frame, %.3f of a bare frame decode (%.3f ms)\n", perFrame * 1e3,
                    perFrame / (bareS / frames), bareS / frames * 1e3);
    }
    for (int step : {6, 40}) {
        std::vector<double> t;
        for (int i = 0; i < runs; ++i)
            t.push_back(Seconds([&] { Analyse(file, step); }));
        std::printf("colour analysis, step %3d: %.3f s  speed-up %.2fx\n", step, Median(t), bareS / Median(t));
    }
    return samples == frames ? 0 : 1;
}
