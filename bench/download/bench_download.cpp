// The download service alone, as a process of its own: bench_download URL FILE downloads
// with CHttpConn and prints the seconds the download took (bench_download.sh times the
// whole process, as it times curl).

#include "base/CHttpConn.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 3) {
        std::fputs("usage: bench_download URL FILE\n", stderr);
        return 2;
    }
    QElapsedTimer timer;
    timer.start();
    const QString word = WorkBaseData::CHttpConn().Download(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
    std::printf("%.3f\n", timer.nsecsElapsed() / 1e9);
    if (!word.isEmpty())
        std::fprintf(stderr, "bench_download: %s\n", word.toUtf8().constData());
    return word.isEmpty() ? 0 : 1;
}
