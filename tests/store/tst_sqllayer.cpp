// The SQL helper layer on real SQLite files and real threads.

#include "store/ConnectionPool.h"
#include "store/DBException.h"
#include "store/Transaction.h"

#include <QTemporaryDir>
#include <QThread>
#include <QtConcurrent>
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
    QString freshDatabase(const QStringList& initStatements = QStringList())
    {
        const QString path = m_dir.filePath(QStringLiteral("db%1.sqlite").arg(++m_nFile));
        ConnectionSettings settings;
        settings.type = "QSQLITE";
        settings.databaseName = path;
        settings.initStatements = initStatements;
        m_pool.setSettings(path, settings);
        Transaction t(m_pool.database(path));
        t.exec("create table t (a varchar, b bigint)");
        t.commit();
        return path;
    }

    QVariantMap first(const QString& name, const QString& sql)
    {
        Transaction t(m_pool.database(name));
        QueryResult r = t.execQuery(sql);
        return r.next() ? r.toMap() : QVariantMap();
    }

    void runOnThread(const std::function<void()>& job)
    {
        std::unique_ptr<QThread> thread(QThread::create(job));
        thread->start();
        QVERIFY(thread->wait(30000));
    }

private Q_SLOTS:
    void oneConnectionPerThread()
    {
        const QString name = freshDatabase();
        const QString mine = m_pool.connectionName(name);
        QCOMPARE(m_pool.database(name).connectionName(), mine);
        QString theirs;
        bool open = false;
        runOnThread([&] {
            theirs = m_pool.database(name).connectionName();
            open = m_pool.database(name).isOpen();
        });
        QVERIFY2(open && !theirs.isEmpty() && theirs != mine, "each thread opens a connection of its own");
        QVERIFY2(!QSqlDatabase::contains(theirs), "a thread's connection is removed when the thread ends");
        QVERIFY(QSqlDatabase::contains(mine));
        QCOMPARE(m_pool.database("never configured").driverName(), "QODBC");
    }

    void commitIsExplicitAndOnce()
    {
        const QString name = freshDatabase();
        const QString count = "SELECT COUNT(*) FROM t";
        {
            Transaction t(m_pool.database(name));
            t.insertInto("t (a, b)").values("x", 1).exec();
        }
        QCOMPARE(first(name, count).value("COUNT(*)"), QVariant(0));
        Transaction t(m_pool.database(name));
        t.insertInto("t (a, b)").values("x", 1).exec();
        QVERIFY(t.commit());
        QVERIFY2(t.commit(), "a second COMMIT would find no transaction and throw");
        QCOMPARE(first(name, count).value("COUNT(*)"), QVariant(1));
    }

    void insertRows_data()
    {
        QTest::addColumn<int>("rows");
        QTest::addColumn<bool>("streamed");
        QTest::newRow("one row, values()") << 1 << false;
        QTest::newRow("batch, values()") << 3 << false;
        QTest::newRow("batch, operator<<") << 4 << true;
    }

    void insertRows()
    {
        QFETCH(int, rows);
        QFETCH(bool, streamed);
        const QString name = freshDatabase();
        Transaction t(m_pool.database(name));
        InsertQuery insert = t.insertInto("t (a, b)");
        for (int i = 0; i < rows; ++i) {
            if (streamed)
                insert << QStringLiteral("r%1").arg(i) << qint64(i) * 10000000000LL;
            else
                insert.values(QStringLiteral("r%1").arg(i), qint64(i) * 10000000000LL);
        }
        QCOMPARE(insert.statement(), "INSERT INTO t (a, b) VALUES (?,?)");
        insert.exec();
        QCOMPARE(insert.rowCount(), 0);
        t.commit();
        QueryResult r = t.execQuery("SELECT a, b FROM t ORDER BY rowid");
        for (int i = 0; i < rows; ++i) {
            QVERIFY2(r.next(), "every row of a batch is stored");
            QCOMPARE(r.value(0).toString(), QStringLiteral("r%1").arg(i));
            QCOMPARE(r.value(1).toLongLong(), qint64(i) * 10000000000LL);
        }
        QVERIFY(!r.next());
    }

    void failureCarriesStatementAcrossThreads()
    {
        const QString name = freshDatabase();
        // QtConcurrent hands the exception to the waiting thread through clone() and raise().
        QFuture<void> future = QtConcurrent::run([name] {
            Transaction t(ConnectionPool::instance().database(name));
            t.exec("select * from missing");
        });
        try {
            future.waitForFinished();
            QFAIL("the statement must fail");
        } catch (const DBException& e) {
            QCOMPARE(e.lastQuery, "select * from missing");
            QCOMPARE(e.lastError.databaseText(), "no such table: missing");
            QVERIFY(!e.isBusy());
        }
    }

    // Per-connection settings must hold on every physical connection, reopened ones included.
    void initStatementsRunOnEveryOpen()
    {
        const QString name = freshDatabase({"PRAGMA synchronous=OFF"});
        const QString sql = "PRAGMA synchronous";
        const QVariantMap off{{"synchronous", 0}};
        QCOMPARE(first(name, sql), off);
        m_pool.closeDatabase(name);
        QVERIFY2(m_pool.connectionName(name).isEmpty(), "a closed connection is forgotten");
        QCOMPARE(first(name, sql), off);
        QVariantMap theirs;
        runOnThread([&] { theirs = first(name, sql); });
        QCOMPARE(theirs, off);
    }
};

QTEST_GUILESS_MAIN(TstSqlLayer)
#include "tst_sqllayer.moc"
