// Colour analysis against a bare OpenCV decode loop over the same file, in one run:
// the work's own loop (CFrameSampler + CColourMeasure, every frame measured, three
// colours) against reading every frame (goal: at most 1.2), the measure alone against
// one frame's decode, then the larger steps.
// Each timing is the median of RUNS runs, the two sides alternating and taking turns
// at going first.
//
// Usage: bench_colour [RUNS] [video file, default a generated 30 s 1280x720 25 fps clip]

#include "works/analysis/CColourMeasure.h"
#include "works/analysis/CFrameSampler.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <opencv2/videoio.hpp>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

double Seconds(const std::function<void()>& job)
{
    QElapsedTimer timer;
    timer.start();
    job();
    return timer.nsecsElapsed() / 1e9;
}

double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

qint64 BareDecode(const QString& file)
{
    cv::VideoCapture capture(file.toStdString(), cv::CAP_FFMPEG);
    cv::Mat frame;
    qint64 frames = 0;
    while (capture.read(frame))
        ++frames;
    return frames;
}

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
    const int runs = argc > 1 ? std::max(1, atoi(argv[1])) : 3;
    QTemporaryDir tmp;
    QString file = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString();
    if (file.isEmpty()) {
        file = tmp.filePath(QStringLiteral("clip.mp4"));
        std::printf("making a 30 s 1280x720 25 fps clip ...\n");
        std::fflush(stdout);
        if (QProcess::execute(QStringLiteral("ffmpeg"),
                              {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=size=1280x720:rate=25:duration=30",
                               "-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", file}) != 0) {
            std::fprintf(stderr, "ffmpeg could not make the clip\n");
            return 1;
        }
    }

    qint64 frames = 0, samples = 0;
    std::vector<double> bare, step1;
    for (int i = 0; i < runs; ++i) {
        const auto runBare = [&] { bare.push_back(Seconds([&] { frames = BareDecode(file); })); };
        const auto runStep1 = [&] { step1.push_back(Seconds([&] { samples = Analyse(file, 1); })); };
        if (i % 2 == 0) {
            runBare();
            runStep1();
        } else {
            runStep1();
            runBare();
        }
    }
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
