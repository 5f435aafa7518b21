// Beautify on a 640x480 frame against OpenCV's bilateral filter alone with the same
// parameters (the floor: the filter's dearest step), alternating in one run; then the
// frames per second of every frame step a filter work can run.
//
// Usage: bench_beautify [STYLES_DIR, default <bin>/../worktools/styles]

#include "works/filter/BeautifyFilter.h"
#include "works/filter/StyleFilter.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

cv::Mat Frame()
{
    cv::Mat m(480, 640, CV_8UC3);
    cv::RNG rng(3);
    rng.fill(m, cv::RNG::NORMAL, cv::Scalar::all(128), cv::Scalar::all(40));
    cv::GaussianBlur(m, m, cv::Size(9, 9), 0); // a picture has areas, not only grain
    return m;
}

// Median milliseconds per call over rounds of n calls.
double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double Time(const std::function<void()>& f, int n)
{
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < n; ++i)
        f();
    return t.nsecsElapsed() / 1e6 / n;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QString styles = argc > 1 ? QString::fromLocal8Bit(argv[1]) : app.applicationDirPath() + "/../worktools/styles";
    cv::setNumThreads(1); // the works run one frame at a time on one thread
    const cv::Mat src = Frame();
    const int degree = 3;
    BeautifyFilter beautify;
    beautify.SetFilter({{"nDegree", degree}, {"nDetails", 2}, {"nOpacity", 5}, {"nWhite", 2}});
    cv::Mat dst;
    std::vector<double> full, floor;
    for (int round = 0; round < 7; ++round) {
        full.push_back(Time([&] { beautify.DoFilter(src, dst); }, 10));
        floor.push_back(Time([&] { cv::bilateralFilter(src, dst, degree * 5, degree * 12.5, degree * 12.5); }, 10));
    }
    const double b = Median(full), f = Median(floor);
    std::printf("640x480, nDegree %d, one thread, median of 7 rounds of 10 frames\n", degree);
    std::printf("beautify:               %.2f ms/frame\n", b);
    std::printf("bilateralFilter alone:  %.2f ms/frame\n", f);
    std::printf("ratio beautify/floor:   %.3f\n\n", b / f);

    std::printf("frame steps, frames per second (640x480):\n");
    std::printf("  %-10s %.1f\n", "beautify", 1000.0 / b);
    for (const QString& name : QDir(styles).entryList({"*.onnx"}, QDir::Files, QDir::Name)) {
        StyleFilter style;
        if (style.SetFilter({{"sModel", styles + "/" + name}}) != 0)
            continue;
        std::vector<double> runs;
        for (int round = 0; round < 3; ++round)
            runs.push_back(Time([&] { style.DoFilter(src, dst); }, 3));
        std::printf("  %-10s %.1f\n", qPrintable(name), 1000.0 / Median(runs));
    }
    return 0;
}
