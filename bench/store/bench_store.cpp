// The store's write and read paths against baselines measured in the same run:
//  1. model rows one transaction each (InsertDataMove: WAL, synchronous=NORMAL) against
//     the same rows in one transaction through InsertQuery's batch, and against one-row
//     transactions with a disk sync on every commit, in WAL and in rollback-journal mode
//     (what model files would cost with SQLite's defaults);
//  2. eight threads filling their own model files while a ninth works the catalogue,
//     against the single-thread rate of 1;
//  3. ListVideoFiles pages of 100 over a 100,000-row catalogue, first page against last.
// Every figure is a median of several runs where the run is short enough to repeat.
//
// Usage: bench_store [folder for the data files, default the system temp folder]

#include "core/CWorkLib.h"
#include "store/CDBStore.h"
#include "store/ConnectionPool.h"
#include "store/Transaction.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

using namespace EasyQtSql;

namespace {

constexpr int kRows = 3000;
constexpr int kThreads = 8;
constexpr int kThreadRows = 2000;
constexpr int kCatalogueRows = 100000;
constexpr int kPage = 100;

std::atomic<int> g_sqlFailures{0};

void CountFailures(WorkLibRs kind, const QVariant& value)
{
    if (kind == WorkLibRs_Log && value.toMap().value(QStringLiteral("log")).toString().contains(QStringLiteral("sql failed")))
        ++g_sqlFailures;
}

MoveDataRow Row(int id)
{
    MoveDataRow row;
    row.id = id;
    row.time = qint64(id) * 40;
    row.diff = id % 1000;
    row.psnr.fill(static_cast<quint8>(id));
    return row;
}

double Seconds(const std::function<void()>& job)
{
    QElapsedTimer timer;
    timer.start();
    job();
    return timer.nsecsElapsed() / 1e9;
}

double MedianMs(int runs, const std::function<void()>& job)
{
    std::vector<double> ms;
    for (int i = 0; i < runs; ++i)
        ms.push_back(Seconds(job) * 1000.0);
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

// kRows move rows, one store transaction each.
double StoreRowsPerSecond(const QString& mode)
{
    CDBStore* store = CDBStore::GetInstance();
    store->OpenModelTable(mode, 2);
    const double s = Seconds([&] {
        for (int id = 0; id < kRows; ++id)
            store->InsertDataMove(mode, Row(id));
    });
    store->CloseModelTable(mode);
    return kRows / s;
}

// The same rows through the SQL layer on a file of the given journal and sync modes:
// all in one batch, or one transaction per row.
double LayerRowsPerSecond(const QString& path, const char* journal, const char* sync, bool batch)
{
    ConnectionSettings settings;
    settings.type = QStringLiteral("QSQLITE");
    settings.databaseName = path;
    settings.initStatements << QStringLiteral("PRAGMA journal_mode=") + QLatin1String(journal)
                            << QStringLiteral("PRAGMA synchronous=") + QLatin1String(sync);
    ConnectionPool::instance().setSettings(path, settings);
    const QString table = QStringLiteral("tb_data_2 (id, time, diff, psnr)");
    auto psnr = [](const MoveDataRow& row) {
        return QByteArray(reinterpret_cast<const char*>(row.psnr.data()), MoveDataRow::kPsnrSize);
    };
    const QSqlDatabase db = ConnectionPool::instance().database(path);
    db.exec(QStringLiteral("create table tb_data_2 (id bigint primary key,time bigint not null,diff int not null,psnr blob)"));
    const double s = Seconds([&] {
        if (batch) {
            Transaction t(db);
            InsertQuery insert = t.insertInto(table);
            for (int id = 0; id < kRows; ++id) {
                const MoveDataRow row = Row(id);
                insert.values(row.id, row.time, row.diff, psnr(row));
            }
            insert.exec();
            t.commit();
            return;
        }
        for (int id = 0; id < kRows; ++id) {
            const MoveDataRow row = Row(id);
            Transaction t(db);
            t.insertInto(table).values(row.id, row.time, row.diff, psnr(row)).exec();
            t.commit();
        }
    });
    return kRows / s;
}

// kThreads threads fill their own model files while one more creates, updates and reads
// catalogue rows; returns the model rows per second of the whole run.
double ConcurrentRowsPerSecond(const QString& dir, int* catalogueOps)
{
    CDBStore* store = CDBStore::GetInstance();
    QSemaphore start;
    std::atomic<bool> writing{true};
    std::vector<std::unique_ptr<QThread>> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(QThread::create([&, t] {
            const QString mode = dir + QStringLiteral("/2_T%1.fdb").arg(t);
            start.acquire();
            store->OpenModelTable(mode, 2);
            for (int id = 0; id < kThreadRows; ++id)
                store->InsertDataMove(mode, Row(id));
            store->CloseModelTable(mode);
        }));
    threads.emplace_back(QThread::create([&] {
        start.acquire();
        QList<VideoFileRecord> page;
        for (int i = 0; writing; ++i) {
            const QString file = dir + QStringLiteral("/media%1.bin").arg(i);
            QFile f(file);
            if (f.open(QIODevice::WriteOnly))
                f.write(file.toUtf8().repeated(100));
            f.close();
            VideoFileRecord record;
            store->GetVideoFile(file, record, true, 2);
            store->UpdateVideoFile(record, {{QStringLiteral("mcount"), i}});
            store->GetVideoFileList(page, 2, 1, 10);
            ++*catalogueOps;
        }
    }));
    for (auto& thread : threads)
        thread->start();
    const double s = Seconds([&] {
        start.release(int(threads.size()));
        for (int t = 0; t < kThreads; ++t)
            threads[t]->wait();
    });
    writing = false;
    threads.back()->wait();
    return kThreads * kThreadRows / s;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir temp(argc > 1 ? QString::fromLocal8Bit(argv[1]) + QStringLiteral("/bench_store-XXXXXX")
                                : QDir::tempPath() + QStringLiteral("/bench_store-XXXXXX"));
    if (!temp.isValid()) {
        std::fprintf(stderr, "cannot make a folder for the data files\n");
        return 1;
    }
    const QString dir = temp.path();
    const QStorageInfo volume(dir);
    std::printf("data folder %s (%s)\n", qPrintable(dir), volume.fileSystemType().constData());

    CWorkLib* lib = CreateWorkLib(&CountFailures, QVariantMap{{QStringLiteral("appData"), dir}});
    lib->InitModelStore(dir + QStringLiteral("/host"));

    std::printf("\n1. %d move rows into a model file\n", kRows);
    const double single = StoreRowsPerSecond(dir + QStringLiteral("/single.fdb"));
    const double batch = LayerRowsPerSecond(dir + QStringLiteral("/batch.fdb"), "WAL", "NORMAL", true);
    const double full = LayerRowsPerSecond(dir + QStringLiteral("/full.fdb"), "WAL", "FULL", false);
    const double rollback = LayerRowsPerSecond(dir + QStringLiteral("/rollback.fdb"), "DELETE", "FULL", false);
    std::printf("   InsertDataMove, a transaction a row          %10.0f rows/s\n", single);
    std::printf("   InsertQuery execBatch, one transaction       %10.0f rows/s   x%.1f\n", batch, batch / single);
    std::printf("   a transaction a row, WAL, sync FULL          %10.0f rows/s   x%.3f\n", full, full / single);
    std::printf("   a transaction a row, rollback journal, FULL  %10.0f rows/s   x%.3f\n", rollback, rollback / single);

    std::printf("\n2. %d threads x %d move rows, own files, while a thread works the catalogue\n", kThreads,
                kThreadRows);
    const qint64 retriesBefore = CDBStore::BusyRetryCount();
    int catalogueOps = 0;
    const QString concurrentDir = dir + QStringLiteral("/concurrent");
    QDir().mkpath(concurrentDir);
    const double concurrent = ConcurrentRowsPerSecond(concurrentDir, &catalogueOps);
    std::printf("   all threads                                     %10.0f rows/s   x%.2f of one thread\n",
                concurrent, concurrent / single);
    std::printf("   catalogue create+update+list rounds meanwhile   %10d\n", catalogueOps);
    std::printf("   busy retries %lld, \"sql failed\" lines %d\n", CDBStore::BusyRetryCount() - retriesBefore,
                g_sqlFailures.load());

    std::printf("\n3. ListVideoFiles pages of %d over %d catalogue rows\n", kPage, kCatalogueRows);
    const double loadS = Seconds([&] {
        Transaction t(CDBStore::GetInstance()->CatalogueDatabase());
        InsertQuery insert = t.insertInto(QStringLiteral(
            "tb_VideoFile_1 (key, path, name, ctime, mtime, size, width, height, duration, ver, endbtype, model, "
            "enstate, mcount, nick, jsext)"));
        for (int i = 0; i < kCatalogueRows; ++i) {
            const QString key = QStringLiteral("%1").arg(i, 32, 16, QLatin1Char('0')).toUpper();
            insert.values(key, QStringLiteral("/videos/clip%1.mp4").arg(i), QStringLiteral("clip%1").arg(i),
                          qint64(1700000000) + i, qint64(1700000000) + i, qint64(100000000) + i, 1920, 1080, 60000, 0,
                          1, QStringLiteral("/models/2024-01/1_") + key + QStringLiteral(".fdb"), 0, 0, QString(),
                          QString());
        }
        insert.exec();
        t.commit();
    });
    std::printf("   loading the rows in one batch                   %10.0f rows/s\n", kCatalogueRows / loadS);
    int visited = 0;
    auto page = [&](qint64 offset) {
        return MedianMs(21, [&] {
            qint64 total = 0;
            lib->ListVideoFiles(QStringLiteral("face"), offset, kPage, &total, [&](const QVariantMap&) {
                ++visited;
                return true;
            });
        });
    };
    const double first = page(0);
    const double last = page(kCatalogueRows - kPage);
    std::printf("   first page (offset 0)                           %10.2f ms\n", first);
    std::printf("   last page (offset %d)                        %10.2f ms   x%.1f\n", kCatalogueRows - kPage, last,
                last / first);
    std::printf("   rows visited %d (expected %d)\n", visited, 2 * 21 * kPage);
    return g_sqlFailures.load() == 0 ? 0 : 2;
}
