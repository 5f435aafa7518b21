// Many threads writing at once: model files filled row by row while the catalogue is
// created, updated and read. No lock failure may reach a caller.

#include "StoreTestUtil.h"
#include "store/CDBStore.h"

#include <QMutex>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <functional>
#include <memory>
#include <vector>

using namespace StoreTest;

class TstStoreConcurrency : public QObject
{
    Q_OBJECT

private:
    static constexpr int kThreads = 8;
    static constexpr int kMoveRows = 2000;
    static constexpr int kCatalogueThreads = 3;
    static constexpr int kOwnFiles = 40;
    static constexpr int kSharedFiles = 15;

    QTemporaryDir m_dir;
    CDBStore* m_store = CDBStore::GetInstance();
    QMutex m_lock;
    QStringList m_failures;

    void check(int status, const QString& what)
    {
        QMutexLocker locker(&m_lock);
        if (status != 0)
            m_failures.append(QStringLiteral("%1 gave %2").arg(what).arg(status));
    }

    // Starts every job on its own thread at the same moment and waits for all of them.
    static bool runTogether(const std::vector<std::function<void()>>& jobs)
    {
        QSemaphore start;
        std::vector<std::unique_ptr<QThread>> threads;
        for (const auto& job : jobs) {
            threads.emplace_back(QThread::create([&start, job] {
                start.acquire();
                job();
            }));
            threads.back()->start();
        }
        start.release(int(jobs.size()));
        bool ended = true;
        for (auto& thread : threads)
            ended = thread->wait(300000) && ended;
        return ended;
    }

    void fillModel(const QString& mode)
    {
        check(m_store->OpenModelTable(mode, 2), "open " + mode);
        for (int id = 0; id < kMoveRows; ++id) {
            MoveDataRow row;
            row.id = id;
            row.psnr.fill(static_cast<quint8>(id));
            check(m_store->InsertDataMove(mode, row), QStringLiteral("insert %1 into %2").arg(id).arg(mode));
        }
        check(m_store->CloseModelTable(mode), "close " + mode);
    }

    void workCatalogue(const QStringList& files, int thread)
    {
        QList<VideoFileRecord> page;
        for (int i = 0; i < files.size(); ++i) {
            VideoFileRecord record;
            check(m_store->GetVideoFile(files.at(i), record, true, 1), "create " + files.at(i));
            if (i >= kSharedFiles)
                check(m_store->UpdateVideoFile(record, {{"mcount", i}, {"nick", thread}}), "update " + files.at(i));
            check(m_store->GetVideoFileList(page, 1, i % 3 + 1, 10), "list");
        }
    }

    QString mediaFile(const QString& name)
    {
        const QString path = m_dir.filePath(name);
        WriteFile(path, name.toUtf8().repeated(50));
        return path;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        TestHost::Install();
        QCOMPARE(m_store->InitDBTable({{"saveDir", m_dir.filePath("zrModelData")}}), 0);
    }

    void manyWritersAtOnce()
    {
        TestHost::Clear();
        QStringList shared, modes;
        for (int i = 0; i < kSharedFiles; ++i)
            shared << mediaFile(QStringLiteral("shared%1.mp4").arg(i));
        std::vector<std::function<void()>> jobs;
        for (int t = 0; t < kCatalogueThreads; ++t) {
            // Every catalogue thread creates the shared files too: they race for the same rows.
            QStringList files = shared;
            for (int i = 0; i < kOwnFiles; ++i)
                files << mediaFile(QStringLiteral("own%1_%2.mp4").arg(t).arg(i));
            jobs.push_back([this, files, t] { workCatalogue(files, t); });
        }
        for (int t = 0; t < kThreads; ++t) {
            modes << m_dir.filePath(QStringLiteral("2_M%1.fdb").arg(t));
            jobs.push_back([this, mode = modes.last()] { fillModel(mode); });
        }
        QVERIFY(runTogether(jobs));

        QVERIFY2(m_failures.isEmpty(), qPrintable(m_failures.mid(0, 5).join(QLatin1Char('\n'))));
        QVERIFY2(TestHost::LogsWith("sql failed").isEmpty(),
                 qPrintable(TestHost::LogsWith("sql failed").mid(0, 3).join(QLatin1Char('\n'))));
        for (const QString& mode : qAsConst(modes)) {
            QCOMPARE(m_store->OpenModelTable(mode, 2), 0);
            qint64 count = 0, maxKey = 0;
            QCOMPARE(m_store->GetDataCount(mode, 2, count), 0);
            QCOMPARE(m_store->GetDataMaxKey(mode, 2, maxKey), 0);
            QCOMPARE(count, qint64(kMoveRows));
            QCOMPARE(maxKey, qint64(kMoveRows - 1));
            QCOMPARE(m_store->CloseModelTable(mode), 0);
        }
        qint64 rows = 0;
        QCOMPARE(m_store->GetVideoFileCount(1, rows), 0);
        QCOMPARE(rows, qint64(kSharedFiles + kCatalogueThreads * kOwnFiles));
        for (int t = 0; t < kCatalogueThreads; ++t)
            QCOMPARE(
                Query(m_store->CataloguePath(),
                      QStringLiteral("SELECT COUNT(*) || ',' || MIN(mcount) || ',' || MAX(mcount) FROM "
                                     "tb_VideoFile_1 WHERE nick = '%1'")
                          .arg(t)),
                QStringList{
                    QStringLiteral("%1,%2,%3").arg(kOwnFiles).arg(kSharedFiles).arg(kSharedFiles + kOwnFiles - 1)});
        modes << m_store->CataloguePath();
        for (const QString& file : qAsConst(modes))
            QCOMPARE(Query(file, "PRAGMA integrity_check"), QStringList{"ok"});
    }

    // Threads that all find a fresh file without its table race to create it: the losers
    // read before the winner wrote, and SQLite refuses their write at once, busy handler or not.
    void oneFreshModelOpenedByManyThreads()
    {
        TestHost::Clear();
        for (int round = 0; round < 10; ++round) {
            const QString mode = m_dir.filePath(QStringLiteral("1_SHARED%1.fdb").arg(round));
            const std::vector<std::function<void()>> jobs(
                kThreads, [this, mode] { check(m_store->OpenModelTable(mode, 1), "open " + mode); });
            QVERIFY(runTogether(jobs));
            QVERIFY2(m_failures.isEmpty(), qPrintable(m_failures.mid(0, 5).join(QLatin1Char('\n'))));
            QCOMPARE(Query(mode, "SELECT name FROM sqlite_master WHERE type='table'"), QStringList{"tb_data_1"});
            QCOMPARE(m_store->CloseModelTable(mode), 0);
        }
        QVERIFY(TestHost::LogsWith("sql failed").isEmpty());
    }
};

QTEST_GUILESS_MAIN(TstStoreConcurrency)
#include "tst_storeconcurrency.moc"
