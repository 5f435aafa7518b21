// The store as the library uses it: the host pages through the catalogue by the exported
// entry point, then work threads fill model files while others write the catalogue.

#include "StoreTestUtil.h"
#include "core/CWorkLib.h"
#include "store/CDBStore.h"
#include "store/Transaction.h"

#include <QSemaphore>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

#include <functional>
#include <vector>

using namespace StoreTest;

static QString Key(int i)
{
    return QStringLiteral("K1_%1").arg(i, 2, 10, QLatin1Char('0'));
}

// Starts every job on a thread of its own at the same moment and waits for all of them.
static bool RunTogether(const std::vector<std::function<void()>>& jobs)
{
    QThreadPool pool;
    pool.setMaxThreadCount(int(jobs.size()));
    QSemaphore start;
    for (const auto& job : jobs)
        pool.start([&start, job] { start.acquire(); job(); });
    start.release(int(jobs.size()));
    return pool.waitForDone(300000);
}

class TstStoreInUse : public QObject
{
    Q_OBJECT

private:
    static constexpr int kFaceRows = 25;
    QTemporaryDir m_dir;
    CWorkLib* m_lib = nullptr;
    CDBStore* m_store = CDBStore::GetInstance();
    QMutex m_lock;
    QStringList m_failures;

    void check(int status, const QString& what)
    {
        QMutexLocker locker(&m_lock);
        if (status != 0)
            m_failures.append(QStringLiteral("%1 gave %2").arg(what).arg(status));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        TestHost::Install(QVariantMap{{"appData", m_dir.path()}});
        m_lib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        QVERIFY(m_lib->InitModelStore(m_dir.filePath("host/data")));
        QCOMPARE(m_store->CataloguePath(), m_dir.filePath("host/data/zrModelData/videofile.fdb"));
        // Face rows with chosen values, loaded straight into the table (the move kind's
        // listing is the command-line host's test).
        EasyQtSql::Transaction t(m_store->CatalogueDatabase());
        EasyQtSql::InsertQuery insert = t.insertInto(QStringLiteral("tb_VideoFile_1 (key, path, name, ctime, "
            "mtime, size, width, height, duration, ver, endbtype, model, enstate, mcount, nick, jsext)"));
        for (int i = 0; i < kFaceRows; ++i)
            insert.values(Key(i), QStringLiteral("/v/%1.mp4").arg(i), QString::number(i), 1700000000 + i, 0,
                          5000000000LL + i, 1920, 1080, 3600000 + i, 0, 1, QStringLiteral("/m/%1.fdb").arg(i),
                          i % 3, i * 2, QStringLiteral("nick%1").arg(i), QStringLiteral("{\"i\":%1}").arg(i));
        insert.exec();
        t.commit();
    }

    // The visitor's false stops the listing after one row (of twenty wanted), which is no failure.
    void rowMapThenVisitorStops()
    {
        QStringList got;
        QVERIFY(m_lib->ListVideoFiles("face", 2, 20, nullptr, [&](const QVariantMap& row) {
            for (auto it = row.begin(); it != row.end(); ++it)
                got << it.key() + ' ' + it.value().typeName() + ' ' + it.value().toString();
            return false;
        }));
        QCOMPARE(got, (QStringList{"enState bool true", "nCTime qlonglong 1700000002", "nDuration qlonglong 3600002",
                                   "nHeight qlonglong 1080", "nMCount qlonglong 4", "nSize qlonglong 5000000002",
                                   "nWidth qlonglong 1920", "sMd5 QString K1_02", "sModel QString /m/2.fdb",
                                   "sName QString 2", "sNick QString nick2", "sPath QString /v/2.mp4",
                                   "sjsExt QString {\"i\":2}"}));
        QVERIFY(m_lib->ListVideoFiles("face", 0, 20, nullptr, nullptr));
    }

    void listRows_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<qint64>("offset");
        QTest::addColumn<qint64>("count");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("rows");
        QTest::newRow("count above ten") << "face" << qint64(12) << qint64(11) << 12 << 11;
        QTest::newRow("negative offset") << "face" << qint64(-4) << qint64(2) << 0 << 2;
        QTest::newRow("nothing wanted") << "face" << qint64(3) << qint64(0) << 0 << 0;
        QTest::newRow("everything") << "face" << qint64(0) << LLONG_MAX << 0 << kFaceRows;
        // The name is compared case-sensitively: kind 0 has no table, so the list query fails.
        QTest::newRow("Face is kind 0") << "Face" << qint64(0) << qint64(10) << 0 << 0;
    }

    void listRows()
    {
        QFETCH(QString, model);
        QFETCH(qint64, offset);
        QFETCH(qint64, count);
        QFETCH(int, from);
        QFETCH(int, rows);
        QStringList keys, expected;
        for (int i = from; i < from + rows; ++i)
            expected << Key(i);
        qint64 total = -1;
        const bool ok = m_lib->ListVideoFiles(model, offset, count, &total, [&](const QVariantMap& row) {
            keys << row.value("sMd5").toString();
            return true;
        });
        QCOMPARE(keys, expected);
        QCOMPARE(total, qint64(model == "face" ? kFaceRows : 0));
        QCOMPARE(ok, model == "face");
    }

    // Eight works fill their model files row by row while three threads race to create the same
    // catalogue rows, each updating its share of them, and eight more per fresh model race to
    // create its table: the losers read before the winner wrote, and SQLite refuses their
    // write at once, busy handler or not. No lock failure may reach a caller.
    void manyWritersAtOnce()
    {
        const int kRows = 200, kFiles = 12;
        qint64 before = 0, after = 0;
        QCOMPARE(m_store->GetVideoFileCount(1, before), 0);
        QStringList files, modes;
        for (int i = 0; i < kFiles; ++i) {
            files << m_dir.filePath(QStringLiteral("shared%1.mp4").arg(i));
            WriteFile(files.last(), files.last().toUtf8().repeated(50));
        }
        std::vector<std::function<void()>> jobs;
        for (int t = 0; t < 3; ++t) {
            jobs.push_back([=] {
                QList<VideoFileRecord> page;
                for (int i = 0; i < kFiles; ++i) {
                    VideoFileRecord record;
                    check(m_store->GetVideoFile(files[i], record, true, 1), "create " + files[i]);
                    if (i % 3 == t)
                        check(m_store->UpdateVideoFile(record, {{"mcount", i + 1}, {"nick", "raced"}}), "update");
                    check(m_store->GetVideoFileList(page, 1, i % 3 + 1, 10), "list");
                }
            });
        }
        for (int w = 0; w < 8; ++w) {
            modes << m_dir.filePath(QStringLiteral("2_M%1.fdb").arg(w));
            jobs.push_back([=, mode = modes.last()] {
                check(m_store->OpenModelTable(mode, 2), "open " + mode);
                for (MoveDataRow row; row.id < kRows; ++row.id)
                    check(m_store->InsertDataMove(mode, row), QStringLiteral("insert %1 into ").arg(row.id) + mode);
                check(m_store->CloseModelTable(mode), "close " + mode);
            });
        }
        for (int w = 0; w < 48; ++w)
            jobs.push_back([=, mode = m_dir.filePath(QStringLiteral("1_SHARED%1.fdb").arg(w / 8))] {
                check(m_store->OpenModelTable(mode, 1), "open " + mode);
            });
        TestHost::Clear();
        QVERIFY(RunTogether(jobs));

        QVERIFY2(m_failures.isEmpty(), qPrintable(m_failures.mid(0, 5).join('\n')));
        QCOMPARE(StoreLines(), QStringList());
        for (const QString& mode : qAsConst(modes))
            QCOMPARE(Query(mode, "SELECT COUNT(*) || ',' || MAX(id) FROM tb_data_2"),
                     QStringList{QStringLiteral("%1,%2").arg(kRows).arg(kRows - 1)});
        QCOMPARE(m_store->GetVideoFileCount(1, after), 0);
        QCOMPARE(after - before, qint64(kFiles));
        QCOMPARE(Query(m_store->CataloguePath(), "SELECT COUNT(*) || ',' || SUM(mcount) FROM tb_VideoFile_1 "
                                                 "WHERE nick = 'raced'"),
                 QStringList{"12,78"});
    }
};

QTEST_GUILESS_MAIN(TstStoreInUse)
#include "tst_storeinuse.moc"
