// The SQL helper layer on real SQLite files and real threads.

#include "StoreTestUtil.h"
#include "store/ConnectionPool.h"
#include "store/Transaction.h"

#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <memory>

using namespace EasyQtSql;

class TstSqlLayer : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_nFile = 0;
    ConnectionPool& m_pool = ConnectionPool::instance();

    // A fresh file registered under its own path, holding table t (a, b).
    QString freshDatabase()
    {
        const QString path = m_dir.filePath(QStringLiteral("db%1.sqlite").arg(++m_nFile));
        ConnectionSettings settings;
        settings.type = "QSQLITE";
        settings.databaseName = path;
        m_pool.setSettings(path, settings);
        Transaction t(m_pool.database(path));
        t.exec("create table t (a varchar, b bigint)");
        t.commit();
        return path;
    }

    // The rows of t as "a,b" in insertion order, as another connection sees them.
    static QStringList rows(const QString& path)
    {
        return StoreTest::Query(path, "SELECT a || ',' || b FROM t ORDER BY rowid");
    }

private Q_SLOTS:
    void oneConnectionPerThread()
    {
        const QString name = freshDatabase();
        QString theirs;
        std::unique_ptr<QThread> thread(QThread::create(
            [&] { theirs = m_pool.database(name).isOpen() ? m_pool.database(name).connectionName() : ""; }));
        thread->start();
        QVERIFY(thread->wait(30000));
        QVERIFY2(!theirs.isEmpty() && theirs != m_pool.database(name).connectionName(),
                 "each thread opens a connection of its own");
        QVERIFY2(!QSqlDatabase::contains(theirs), "a thread's connection is removed when the thread ends");
        QCOMPARE(m_pool.database("never configured").driverName(), "QODBC");
    }

    // Nothing is kept without commit(), a second commit() is harmless, and exec() empties the
    // builder for reuse: one row runs as a plain statement, more rows as a batch.
    void commitAndInserts()
    {
        const QString name = freshDatabase();
        {
            Transaction t(m_pool.database(name));
            t.insertInto("t (a, b)").values("x", 1).exec();
        }
        QCOMPARE(rows(name), QStringList());
        Transaction t(m_pool.database(name));
        InsertQuery insert = t.insertInto("t (a, b)");
        insert.values("one", 1).exec();
        insert.values("x", 10000000000LL).values("y", -20000000000LL).exec(); // past 32 bits
        QVERIFY(t.commit());
        QVERIFY2(t.commit(), "a second COMMIT would find no transaction and throw");
        QCOMPARE(rows(name), (QStringList{"one,1", "x,10000000000", "y,-20000000000"}));
    }
};

QTEST_GUILESS_MAIN(TstSqlLayer)
#include "tst_sqllayer.moc"
