// GetFileFingerprint on a 1 GiB file against the shell doing the same work: dd pulls
// the six sampled blocks and pipes them into md5sum. Two more baselines separate the
// hashing from the reading: md5sum over a file holding just the samples, and a naive
// fingerprint that reads buffered QByteArrays and concatenates them before hashing.
// The page cache is warm for all of them; each figure is the median of several runs.
//
// Usage: bench_fingerprint [folder for the 1 GiB file, default the system temp folder]

#include "base/PubUtils.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

using WorkBaseData::PubUtils;

namespace {

constexpr qint64 kFileSize = qint64(1) << 30;
constexpr qint64 kBlock = 524288;

std::vector<qint64> SampleOffsets(qint64 size)
{
    std::vector<qint64> offsets;
    for (int i = 0; i < 5; ++i)
        offsets.push_back(i * (size / 5));
    offsets.push_back(size - kBlock);
    return offsets;
}

// A sparse 1 GiB file with random data written over every sampled block.
bool MakeFile(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || !f.resize(kFileSize))
        return false;
    QByteArray block(kBlock, Qt::Uninitialized);
    QRandomGenerator gen(42);
    for (qint64 offset : SampleOffsets(kFileSize)) {
        gen.fillRange(reinterpret_cast<quint32*>(block.data()), int(kBlock / 4));
        if (!f.seek(offset) || f.write(block) != kBlock)
            return false;
    }
    return true;
}

// Median milliseconds of runs calls; result keeps the last digest for the cross-check.
double MedianMs(int runs, const std::function<QString()>& job, QString* result)
{
    std::vector<double> ms;
    for (int r = 0; r < runs; ++r) {
        QElapsedTimer clock;
        clock.start();
        *result = job();
        ms.push_back(clock.nsecsElapsed() / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

QString Shell(const QString& script)
{
    QProcess p;
    p.start(QStringLiteral("sh"), {QStringLiteral("-c"), script});
    p.waitForFinished(-1);
    return QString::fromLatin1(p.readAllStandardOutput().left(32)).toUpper();
}

QString NaiveFingerprint(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    QByteArray all;
    for (qint64 offset : SampleOffsets(f.size())) {
        f.seek(offset);
        all += f.read(kBlock);
    }
    return QString::fromLatin1(QCryptographicHash::hash(all, QCryptographicHash::Md5).toHex().toUpper());
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QString parent = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    QTemporaryDir dir(parent + QStringLiteral("/fpbench-XXXXXX"));
    if (!dir.isValid()) {
        std::fprintf(stderr, "no temporary folder\n");
        return 1;
    }
    const QString file = dir.filePath(QStringLiteral("big.bin"));
    const QString samples = dir.filePath(QStringLiteral("samples.bin"));
    if (!MakeFile(file)) {
        std::fprintf(stderr, "cannot make %s\n", qPrintable(file));
        return 1;
    }

    QString pipeline = QStringLiteral("( ");
    for (qint64 offset : SampleOffsets(kFileSize))
        pipeline += QStringLiteral("dd if='%1' bs=%2 skip=%3 count=%2 iflag=skip_bytes,count_bytes status=none; ")
                        .arg(file)
                        .arg(kBlock)
                        .arg(offset);
    pipeline += QStringLiteral(")");
    Shell(pipeline + QStringLiteral(" > '%1'").arg(samples));

    const int runs = 9;
    QString ours, shell, hashOnly, naive;
    // Warm the page cache and the programs' own files before any timing.
    for (int i = 0; i < 3; ++i) {
        PubUtils::GetFileFingerprint(file);
        Shell(pipeline + QStringLiteral(" | md5sum"));
        Shell(QStringLiteral("md5sum '%1'").arg(samples));
    }
    const double oursMs = MedianMs(runs, [&] { return PubUtils::GetFileFingerprint(file); }, &ours);
    const double shellMs = MedianMs(runs, [&] { return Shell(pipeline + QStringLiteral(" | md5sum")); }, &shell);
    const double hashMs = MedianMs(runs, [&] { return Shell(QStringLiteral("md5sum '%1'").arg(samples)); }, &hashOnly);
    const double naiveMs = MedianMs(runs, [&] { return NaiveFingerprint(file); }, &naive);

    std::printf("fingerprint of a 1 GiB file (six 512 KiB samples), warm cache, median of %d runs\n", runs);
    std::printf("  GetFileFingerprint          : %8.2f ms  %s\n", oursMs, qPrintable(ours));
    std::printf("  dd x6 | md5sum              : %8.2f ms  %s  (ratio to ours %.2f)\n", shellMs, qPrintable(shell),
                shellMs / oursMs);
    std::printf("  md5sum of the 3 MiB samples : %8.2f ms  %s  (ratio to ours %.2f)\n", hashMs, qPrintable(hashOnly),
                hashMs / oursMs);
    std::printf("  naive buffered + concatenate: %8.2f ms  %s  (ratio to ours %.2f)\n", naiveMs, qPrintable(naive),
                naiveMs / oursMs);
    const bool same = ours == shell && ours == hashOnly && ours == naive;
    std::printf("  digests %s\n", same ? "agree" : "DIFFER");
    return same ? 0 : 2;
}
