// The shared work operations and the thread frame, driven through a tiny work.

#include "TestHost.h"
#include "work/CWorkBase.h"

#include <QAtomicInt>
#include <QElapsedTimer>
#include <QtTest>

#include <stdexcept>

// A work whose body can be told to run until stopped, wait for a gate, fail or throw.
class TestWork : public CWorkBase
{
    Q_OBJECT
public:
    enum Mode { UntilStopped, UntilGate, Fails, Throws };

    explicit TestWork(Mode mode) : CWorkBase(99), m_mode(mode) {}
    ~TestWork() override
    {
        // Never leave a running thread behind, whatever the test did.
        StopWork();
        OpenGate();
        wait();
    }

    void OpenGate() { m_gate.storeRelease(1); }
    const std::vector<void*>& Observers() const { return m_vObservers; }

protected:
    void DoWork() override
    {
        NotifyProgress(5);
        switch (m_mode) {
        case UntilStopped:
            while (m_bWorking)
                msleep(2);
            break;
        case UntilGate:
            // msleep is a cancellation point, so JoinWork's terminate can end this loop.
            while (!m_gate.testAndSetOrdered(1, 0))
                msleep(2);
            break;
        case Fails:
            Fail("task_failed");
            break;
        case Throws:
            throw std::runtime_error("boom");
        }
    }

private:
    const Mode m_mode;
    QAtomicInt m_gate;
};

Q_DECLARE_METATYPE(TestWork::Mode)

class TestWorkBase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestHost::Install(); }
    void init() { TestHost::Clear(); }

    void valueKeys_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("kept");
        QTest::newRow("user_x") << "user_x" << true;
        QTest::newRow("User_x") << "User_x" << false;
        QTest::newRow("x") << "x" << false;
        QTest::newRow("test") << "test" << true;
        QTest::newRow("testing") << "testing" << false;
    }
    void valueKeys()
    {
        QFETCH(QString, key);
        QFETCH(bool, kept);
        TestWork work(TestWork::Fails);
        const QVariant fallback(QStringLiteral("default"));
        QCOMPARE(work.SetValue(key, 42), kept);
        QCOMPARE(work.GetValue(key, fallback), kept ? QVariant(42) : fallback);
    }

    void observers()
    {
        TestWork work(TestWork::Fails);
        int a = 0, b = 0, c = 0;
        QVERIFY(work.AddObserver(&a));
        QVERIFY(work.AddObserver(&b));
        QVERIFY(work.AddObserver(&a));
        QVERIFY(work.AddObserver(&c));
        QCOMPARE(work.Observers(), (std::vector<void*>{&a, &b, &c}));
        QVERIFY(work.RemoveObserver(&b));
        QCOMPARE(work.Observers(), (std::vector<void*>{&a, &c}));
        QVERIFY2(!work.RemoveObserver(&b), "b is gone already");
    }

    // ops: start, stop, join (5 s), open (let a gated body end), done (wait until the body returned).
    void lifecycle_data()
    {
        QTest::addColumn<TestWork::Mode>("mode");
        QTest::addColumn<QString>("ops");
        QTest::addColumn<int>("runs");
        QTest::addColumn<QString>("resMsg");
        QTest::addColumn<bool>("workingAfter");
        QTest::newRow("start-stop-join") << TestWork::UntilStopped << "start stop join" << 1 << "" << false;
        QTest::newRow("start-join, failing") << TestWork::Fails << "start join" << 1 << "task_failed" << true;
        QTest::newRow("start-join, throwing") << TestWork::Throws << "start join" << 1 << "task_failed" << true;
        QTest::newRow("second run after join")
            << TestWork::UntilStopped << "start stop join start stop join" << 2 << "" << false;
        QTest::newRow("second run after the body ended")
            << TestWork::UntilStopped << "start stop done start stop join" << 2 << "" << false;
        QTest::newRow("stop before start") << TestWork::UntilStopped << "stop start stop join" << 1 << "" << false;
        QTest::newRow("start-start-join") << TestWork::UntilGate << "start start open join" << 1 << "" << true;
        // The thread is still running at the second start, so it does not start again.
        QTest::newRow("restart while running")
            << TestWork::UntilGate << "start stop start open join" << 1 << "" << true;
        // The body does not clear the flag, so a finished work needs a stop first.
        QTest::newRow("restart without stop") << TestWork::Fails << "start done start join" << 1 << "task_failed" << true;
        QTest::newRow("join without start") << TestWork::UntilStopped << "join" << 0 << "" << false;
    }
    void lifecycle()
    {
        QFETCH(TestWork::Mode, mode);
        QFETCH(QString, ops);
        QFETCH(int, runs);
        QFETCH(QString, resMsg);
        QFETCH(bool, workingAfter);

        const QVariantMap params{{"sFile", "in.wav"}, {"nDecibel", 30}};
        TestWork work(mode);
        QVERIFY(work.SetParams(params));
        for (const QString& op : ops.split(' ')) {
            QElapsedTimer clock;
            clock.start();
            if (op == "start")
                QVERIFY(work.StartWork());
            else if (op == "stop")
                QVERIFY(work.StopWork());
            else if (op == "join" && runs == 0)
                QVERIFY2(work.JoinWork(10000) && clock.elapsed() < 1000, "no thread to wait for");
            else if (op == "join")
                QVERIFY(work.JoinWork(5000));
            else if (op == "open")
                work.OpenGate();
            else if (op == "done")
                QTRY_VERIFY(work.IsFinished());
        }
        QCOMPARE(work.IsWorking(), workingAfter);
        QVERIFY2(TestHost::LogsWith("thread time out").isEmpty(), "every run ended on its own");

        const QVector<QVariant> finished = TestHost::Of(3);
        QCOMPARE(finished.size(), runs);
        // Exactly these keys: "res_data" holds "resMsg" even when the run succeeded.
        for (const QVariant& v : finished)
            QCOMPARE(v.toMap(), (QVariantMap{{"user_data", params}, {"nPos", 100}, {"nMax", 100},
                                             {"res_data", QVariantMap{{"resMsg", resMsg}}}}));
        const QVector<QVariant> progress = TestHost::Of(2);
        QCOMPARE(progress.size(), runs);
        for (const QVariant& v : progress)
            QCOMPARE(v.toMap(), (QVariantMap{{"user_data", params}, {"nPos", 5}, {"nMax", 100}}));
    }

    void joinTimeoutTerminates()
    {
        TestWork work(TestWork::UntilGate);
        work.StartWork();
        QVERIFY(work.JoinWork(50));
        QVERIFY2(work.IsFinished(), "the thread must be gone once JoinWork returns");
        const QStringList lines = TestHost::LogsWith("thread time out");
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().endsWith("TestWork::JoinWork Warn>> thread time out 50. terminate"),
                 qPrintable(lines.first()));
        QCOMPARE(TestHost::Count(3), 0);
    }
};

QTEST_GUILESS_MAIN(TestWorkBase)
#include "tst_workbase.moc"
