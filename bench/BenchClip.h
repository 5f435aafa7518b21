#pragma once
// What the video benchmarks share: the wall time of a job, the median of runs, the bare
// OpenCV decode loop they measure against, the two sides taking turns, and the clip.

#include <QElapsedTimer>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <opencv2/videoio.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

namespace BenchClip {

inline double Seconds(const std::function<void()>& job)
{
    QElapsedTimer timer;
    timer.start();
    job();
    return timer.nsecsElapsed() / 1e9;
}

inline double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Every frame read and nothing else: the baseline. Returns the frames read.
inline qint64 BareDecode(const QString& file)
{
    cv::VideoCapture capture(file.toStdString(), cv::CAP_FFMPEG);
    cv::Mat frame;
    qint64 frames = 0;
    while (capture.read(frame))
        ++frames;
    return frames;
}

// a and b once a run, taking turns at going first, so that neither side always runs on
// a warmer machine.
inline void TakeTurns(int runs, const std::function<void()>& a, const std::function<void()>& b)
{
    for (int i = 0; i < runs; ++i) {
        if (i % 2 == 0) {
            a();
            b();
        } else {
            b();
            a();
        }
    }
}

// RUNS, the first argument (default 3, at least 1).
inline int RunsArg(int argc, char** argv)
{
    return argc > 1 ? std::max(1, atoi(argv[1])) : 3;
}

// The video to measure: the second argument, else a 1280x720 25 fps clip of the given
// length made in dir. Empty when ffmpeg could not make it.
inline QString ClipArg(int argc, char** argv, const QTemporaryDir& dir, int seconds)
{
    if (argc > 2 && argv[2][0] != '\0')
        return QString::fromLocal8Bit(argv[2]);
    const QString file = dir.filePath(QStringLiteral("clip.mp4"));
    std::printf("making a %d s 1280x720 25 fps clip ...\n", seconds);
    std::fflush(stdout);
    if (QProcess::execute(QStringLiteral("ffmpeg"),
                          {"-v", "error", "-y", "-f", "lavfi", "-i",
                           QStringLiteral("testsrc2=size=1280x720:rate=25:duration=%1").arg(seconds), "-c:v", "libx264",
                           "-preset", "veryfast", "-pix_fmt", "yuv420p", file}) != 0) {
        std::fprintf(stderr, "ffmpeg could not make the clip\n");
        return QString();
    }
    return file;
}

} // namespace BenchClip
