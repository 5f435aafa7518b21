// The wait FIFO: blocking pop, order, its two log lines and the "py ins" token pool.

#include "TestHost.h"
#include "work/CDataWaitFiFo.h"

#include <QElapsedTimer>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>

class TestWaitFiFo : public QObject
{
    Q_OBJECT

    // The log lines containing what, each of which must end with the matching tail.
    static void CompareLines(const QString& what, const QString& func, const QStringList& tails)
    {
        const QStringList lines = TestHost::LogsWith(what);
        QCOMPARE(lines.size(), tails.size());
        for (int i = 0; i < lines.size(); ++i) {
            const QString tail = func + " Info " + tails.at(i);
            QVERIFY2(lines.at(i).endsWith(tail), qPrintable(lines.at(i) + " should end with " + tail));
        }
    }

private Q_SLOTS:
    void initTestCase() { TestHost::Install(); }
    void init() { TestHost::Clear(); }

    void popOrderAndTimeouts()
    {
        CDataWaitFiFo<int> fifo("q", 1);
        QElapsedTimer clock;
        clock.start();
        QVERIFY2(fifo.PopData(100) == nullptr, "an empty queue has nothing to give");
        QVERIFY2(clock.elapsed() >= 90, "the pop must wait for its timeout before giving up");
        QCOMPARE(fifo.EmptyPopCount(), 1);

        int items[3] = {0, 1, 2};
        for (int& i : items)
            fifo.PushData(&i);
        for (int& i : items)
            QCOMPARE(fifo.PopData(10), &i);
        QCOMPARE(fifo.EmptyPopCount(), 0);
        QVERIFY(fifo.PopData(1) == nullptr);
    }

    void pushWakesWaitingConsumer()
    {
        CDataWaitFiFo<int> fifo("q", 1);
        int item = 7;
        std::atomic<int*> got{nullptr};
        std::atomic<bool> popping{false};
        std::atomic<qint64> waited{-1};
        std::unique_ptr<QThread> consumer(QThread::create([&] {
            QElapsedTimer clock;
            clock.start();
            popping = true;
            got = fifo.PopData(5000);
            waited = clock.elapsed();
        }));
        consumer->start();
        QTRY_VERIFY(popping);
        fifo.PushData(&item);
        QVERIFY(consumer->wait(5000));
        QCOMPARE(got.load(), &item);
        QVERIFY2(waited < 2000, "the push must wake the consumer long before its 5 s timeout");
    }

    void pushLogLine_data()
    {
        QTest::addColumn<int>("period");
        QTest::addColumn<int>("pushes");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("period 1, 10 items") << 1 << 10 << QStringList{};
        QTest::newRow("period 1, 12 items")
            << 1 << 12 << QStringList{"py ins push more num:11", "py ins push more num:12"};
        QTest::newRow("period 4, 16 items") << 4 << 16 << QStringList{"py ins push more num:12", "py ins push more num:16"};
        QTest::newRow("pool period") << 100000000 << 12 << QStringList{};
    }
    void pushLogLine()
    {
        QFETCH(int, period);
        QFETCH(int, pushes);
        QFETCH(QStringList, expected);
        CDataWaitFiFo<int> fifo("py ins", period);
        int item = 0;
        for (int i = 0; i < pushes; ++i)
            fifo.PushData(&item);
        CompareLines("push more", "CDataWaitFiFo<int>::PushData", expected);
    }

    // "reset" pushes and pops one item after the first four timeouts.
    void popNullLogLine_data()
    {
        QTest::addColumn<int>("period");
        QTest::addColumn<int>("timeouts");
        QTest::addColumn<bool>("reset");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("period 1, 4") << 1 << 4 << false << QStringList{};
        QTest::newRow("period 1, 6") << 1 << 6 << false << QStringList{"q pop null times:5", "q pop null times:6"};
        QTest::newRow("period 2, 7") << 2 << 7 << false << QStringList{"q pop null times:6"};
        QTest::newRow("period 5, 10") << 5 << 10 << false << QStringList{"q pop null times:5", "q pop null times:10"};
        QTest::newRow("period 0 taken as 1") << 0 << 5 << false << QStringList{"q pop null times:5"};
        QTest::newRow("success resets the count") << 1 << 8 << true << QStringList{};
    }
    void popNullLogLine()
    {
        QFETCH(int, period);
        QFETCH(int, timeouts);
        QFETCH(bool, reset);
        QFETCH(QStringList, expected);
        CDataWaitFiFo<int> fifo("q", period);
        int item = 0;
        for (int i = 0; i < timeouts; ++i) {
            if (reset && i == 4) {
                fifo.PushData(&item);
                QCOMPARE(fifo.PopData(1), &item);
            }
            QVERIFY(fifo.PopData(1) == nullptr);
        }
        CompareLines("pop null", "CDataWaitFiFo<int>::PopData", expected);
    }

    void tokenPoolPassesTheTokenOn()
    {
        CDataWaitFiFo<int>& pool = PyInsPool();
        QCOMPARE(pool.Name(), QByteArray("py ins"));
        QCOMPARE(pool.Size(), 1);

        std::unique_ptr<CPyInsToken> first(new CPyInsToken);
        std::atomic<qint64> gotAt{-1};
        QElapsedTimer clock;
        clock.start();
        std::unique_ptr<QThread> second(QThread::create([&] {
            CPyInsToken token;
            gotAt = clock.elapsed();
        }));
        second->start();
        // The second user keeps retrying in 100 ms attempts while the first holds the token.
        QTRY_VERIFY_WITH_TIMEOUT(pool.EmptyPopCount() >= 3, 5000);
        QVERIFY2(gotAt < 0, "the token is held, so the second user must still be waiting");
        const qint64 releasedAt = clock.elapsed();
        first.reset();
        QVERIFY(second->wait(5000));
        QVERIFY2(gotAt >= releasedAt && gotAt - releasedAt < 90, "the push back wakes the waiter at once");
        QCOMPARE(pool.Size(), 1);
        QVERIFY2(TestHost::LogsWith("py ins").isEmpty(), "the pool's log period keeps it silent");
    }
};

QTEST_GUILESS_MAIN(TestWaitFiFo)
#include "tst_waitfifo.moc"
