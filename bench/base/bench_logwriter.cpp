// Log writer throughput in host mode: lines per second from one thread and from
// sixteen, with a host callback that only counts. The one mutex makes the sixteen-thread
// figure a measure of contention, so the ratio is the number to watch.
//
// Usage: bench_logwriter [total lines per run, default 400000]

#include "base/CLogWriter.h"
#include "core/CData.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

using namespace WorkBaseData;

namespace {

std::atomic<qint64> g_lines{0};

void CountingHost(WorkLibRs kind, const QVariant& value)
{
    Q_UNUSED(value);
    if (kind == WorkLibRs_Log)
        g_lines.fetch_add(1, std::memory_order_relaxed);
}

// Lines per second for one run of total lines spread over threads writers.
double Run(int threads, int total)
{
    const int each = total / threads;
    g_lines = 0;
    QElapsedTimer clock;
    clock.start();
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([each, t] {
            for (int i = 0; i < each; ++i)
                ZRLOG(LOG_INFO, "Bench::Run", "thread %d line %d of the benchmark, %s", t, i, "some text");
        });
    for (auto& th : pool)
        th.join();
    const qint64 ns = clock.nsecsElapsed();
    if (g_lines.load() != qint64(each) * threads)
        std::fprintf(stderr, "lost lines: %lld of %lld\n", static_cast<long long>(g_lines.load()),
                     static_cast<long long>(qint64(each) * threads));
    return double(each) * threads * 1e9 / double(ns);
}

double Median(int threads, int total, int runs)
{
    std::vector<double> rates;
    for (int r = 0; r < runs; ++r)
        rates.push_back(Run(threads, total));
    std::sort(rates.begin(), rates.end());
    return rates[rates.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int total = argc > 1 ? std::max(16, atoi(argv[1])) : 400000;
    CData::GetInstance()->Init(&CountingHost, QVariantMap());

    Run(1, total / 10); // warm-up
    const double one = Median(1, total, 5);
    const double sixteen = Median(16, total, 5);
    std::printf("log writer, host mode, %d lines per run, median of 5 runs\n", total);
    std::printf("  1 thread   : %12.0f lines/s (%.2f us/line)\n", one, 1e6 / one);
    std::printf("  16 threads : %12.0f lines/s (%.2f us/line)\n", sixteen, 1e6 / sixteen);
    std::printf("  ratio 16/1 : %.2f\n", sixteen / one);
    CData::GetInstance()->Release(true);
    return 0;
}
