// The plain program baseline of bench_filterworks.sh: the same per-frame filter the
// works run (filter each picture file, write it back), over one folder, nothing else.
//
// Usage: bench_frames beautify DIR | bench_frames style MODEL DIR

#include "base/PubUtils.h"
#include "works/filter/BeautifyFilter.h"
#include "works/filter/StyleFilter.h"

#include <QCoreApplication>

#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <memory>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_frames beautify DIR | bench_frames style MODEL DIR\n");
        return 2;
    }
    std::unique_ptr<CFilter> filter;
    if (QByteArray(argv[1]) == "style" && argc > 3) {
        filter = std::make_unique<StyleFilter>();
        filter->SetFilter({{"sModel", QString::fromLocal8Bit(argv[2])}});
    } else {
        filter = std::make_unique<BeautifyFilter>();
        filter->SetFilter({{"nDegree", 3}, {"nDetails", 2}, {"nOpacity", 5}, {"nWhite", 2}});
    }
    for (const QString& file : WorkBaseData::PubUtils::GetFileList(QString::fromLocal8Bit(argv[argc - 1]), 1)) {
        cv::Mat out;
        if (filter->DoFilter(file.toLocal8Bit().constData(), out) == 0)
            cv::imwrite(file.toLocal8Bit().toStdString(), out);
    }
    return 0;
}
