// zrocr: reads the text of a picture and leaves "<image>-result.txt": a "FullDetectTime" line,
// then one line of text per line in the picture, in reading order.

#include "COcrArgs.h"
#include "COcrEngine.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgcodecs.hpp>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <thread>

#include <stdlib.h>

namespace {

// On a machine already busy with more runnable work than cores, the network layers' worker
// threads only wait for each other: one thread then does the same work sooner and cheaper.
void ChooseThreads()
{
    double load = 0;
    const unsigned cores = std::thread::hardware_concurrency();
    if (getloadavg(&load, 1) == 1 && cores > 0 && load >= cores)
        cv::setNumThreads(1);
}

} // namespace

int main(int argc, char** argv)
{
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_ERROR);
    COcrArgs args;
    if (!args.Parse(std::vector<std::string>(argv + 1, argv + argc))) {
        std::cerr << "zrocr: " << args.sError << "\n"
                  << "usage: zrocr --models DIR --det F --cls F --rec F --keys F --image IMAGE\n";
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    ChooseThreads();
    COcrEngine engine;
    if (!engine.Load(args.ModelPath(args.sDet), args.ModelPath(args.sCls), args.ModelPath(args.sRec),
                     args.ModelPath(args.sKeys))) {
        std::cerr << "zrocr: cannot load the models in " << args.sModels << "\n";
        return 1;
    }
    cv::Mat image;
    try {
        image = cv::imread(args.sImage, cv::IMREAD_COLOR);
    } catch (const cv::Exception&) {
        image.release();
    }
    if (image.empty()) {
        std::cerr << "zrocr: cannot read the picture " << args.sImage << "\n";
        return 1;
    }
    std::vector<std::string> lines;
    try {
        lines = engine.Read(image);
    } catch (const cv::Exception& e) {
        std::cerr << "zrocr: recognition failed: " << e.what() << "\n";
        return 1;
    }
    const long long ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::steady_clock::now() - start).count();

    // Written under a temporary name and renamed, so a reader never sees half a result.
    const std::string result = args.ResultPath();
    const std::string partial = result + ".part";
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        out << "FullDetectTime(" << ms << "ms)\n";
        for (const std::string& line : lines)
            out << line << "\n";
        if (!out.flush()) {
            std::remove(partial.c_str());
            std::cerr << "zrocr: cannot write " << result << "\n";
            return 1;
        }
    }
    if (std::rename(partial.c_str(), result.c_str()) != 0) {
        std::remove(partial.c_str());
        std::cerr << "zrocr: cannot write " << result << "\n";
        return 1;
    }
    return 0;
}
