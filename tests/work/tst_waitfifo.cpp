// The wait FIFO: blocking pop, order, its two log lines and the "py ins" token.
#include "TestHost.h"
#include "work/CDataWaitFiFo.h"

#include <QtTest>

#include <atomic>
#include <memory>

class TestWaitFiFo : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { TestHost::Install(); }

    void popWaitsKeepsOrderAndWakes()
    {
        CDataWaitFiFo<int> fifo("q", 1);
        QVERIFY(fifo.PopData(100) == nullptr);
        QCOMPARE(fifo.EmptyPopCount(), 1);
        int items[3] = {0, 1, 2};
        for (int& i : items)
            fifo.PushData(&i);
        for (int& i : items)
            QCOMPARE(fifo.PopData(10), &i);
        // Two consumers are blocked in their pops well before one push wakes both: one takes
        // the item long before its 5 s timeout, the other finds the queue empty and returns
        // null, which ends the run of empty pops instead of counting a timeout.
        std::atomic<int*> got {nullptr};
        std::atomic<int> nulls {0};
        auto pop = [&] { int* p = fifo.PopData(5000); p ? void(got = p) : void(++nulls); };
        std::unique_ptr<QThread> a(QThread::create(pop)), b(QThread::create(pop));
        a->start();
        b->start();
        QTest::qWait(200);
        fifo.PushData(&items[1]);
        QVERIFY(a->wait(10000) && b->wait(10000));
        QCOMPARE(got.load(), &items[1]);
        QCOMPARE(nulls.load(), 1);
        QCOMPARE(fifo.EmptyPopCount(), 0);
    }

    // The empty pops come first, then the pushes.
    void logLines_data()
    {
        QTest::addColumn<int>("period");
        QTest::addColumn<int>("emptyPops");
        QTest::addColumn<int>("pushes");
        QTest::addColumn<QStringList>("expected");
        const QString push = "CDataWaitFiFo<int>::PushData Info py ins push more num:";
        QTest::newRow("push, period 1") << 1 << 0 << 12 << QStringList {push + "11", push + "12"};
        QTest::newRow("push, period 4") << 4 << 0 << 16 << QStringList {push + "12", push + "16"};
        // From the fifth empty pop on, every period-th one.
        QTest::newRow("pop, period 2") << 2 << 7 << 0
                                       << QStringList {"CDataWaitFiFo<int>::PopData Info py ins pop null times:6"};
    }
    void logLines()
    {
        QFETCH(int, period);
        QFETCH(int, emptyPops);
        QFETCH(int, pushes);
        QFETCH(QStringList, expected);
        CDataWaitFiFo<int> fifo("py ins", period);
        for (int i = 0; i < emptyPops; ++i)
            QVERIFY(fifo.PopData(1) == nullptr);
        for (int i = 0; i < pushes; ++i)
            fifo.PushData(&period);
        QCOMPARE(TestHost::Lines(), expected);
    }

    void tokenHasOneHolderAtATime()
    {
        std::unique_ptr<CPyInsToken> first(new CPyInsToken);
        std::unique_ptr<QThread> second(QThread::create([] { CPyInsToken token; }));
        second->start();
        QVERIFY2(!second->wait(300), "the token is held, so the second user must wait");
        first.reset();
        QVERIFY2(second->wait(5000), "giving the token back lets the waiting user through");
    }
};

QTEST_GUILESS_MAIN(TestWaitFiFo)
#include "tst_waitfifo.moc"
