// The work thread frame and its lifecycle, driven through a tiny work.
#include "TestHost.h"
#include "work/CWorkBase.h"

#include <QtTest>

#include <stdexcept>

// A work whose body waits for its gate to open, then fails or throws when its "mode" says so.
class TestWork : public CWorkBase
{
    Q_OBJECT
public:
    TestWork() : CWorkBase(99) {}
    // Never leaves a running thread behind, whatever the test did.
    ~TestWork() override { m_gate = 1; wait(); }
    QAtomicInt m_gate;

protected:
    // msleep is a cancellation point, so JoinWork's terminate can end the wait. The frame
    // holds no locals: AddressSanitizer would take the cancelled frame's stale poison for an overflow.
    void DoWork() override
    {
        while (!m_gate.testAndSetOrdered(1, 0))
            msleep(2);
        Finish();
    }
    void Finish()
    {
        const QString mode = m_mapParams.value("mode").toString();
        NotifyProgress(5);
        if (mode == "fail")
            Fail("task_failed");
        else if (mode == "throw")
            throw std::runtime_error("boom");
    }
};

class TestWorkBase : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // ops: start, stop, open (let the body end), join (5 s), hurry (join for 50 ms).
    void lifecycle_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("ops");
        QTest::addColumn<int>("runs");
        QTest::addColumn<QStringList>("log"); // without stamp and thread
        QTest::newRow("failing") << "fail" << "start open join" << 1
                                 << QStringList {"TestWork::DoWork Warn>> task_failed"};
        QTest::newRow("throwing") << "throw" << "start open join" << 1
                                  << QStringList {"TestWork::run Error>>> work threw boom"};
        QTest::newRow("run twice") << "" << "start stop open join start stop open join" << 2 << QStringList();
        // The thread still runs at the second start, so it does not start again.
        QTest::newRow("restart while running") << "" << "start stop start open join" << 1 << QStringList();
        QTest::newRow("join times out") << "" << "start hurry" << 0
                                        << QStringList {"TestWork::JoinWork Warn>> thread time out 50. terminate"};
    }
    void lifecycle()
    {
        QFETCH(QString, mode);
        QFETCH(QString, ops);
        QFETCH(int, runs);
        QFETCH(QStringList, log);
        TestHost::Install();
        const QVariantMap params {{"sFile", "in.wav"}, {"mode", mode}};
        TestWork work;
        work.SetParams(params);
        for (const QString& op : ops.split(' ')) {
            if (op == "start")
                work.StartWork();
            else if (op == "stop")
                work.StopWork();
            else if (op == "open")
                work.m_gate = 1;
            else
                work.JoinWork(op == "join" ? 5000 : 50);
        }
        QVERIFY2(work.IsFinished(), "the thread must be gone once JoinWork returns");
        QStringList got;
        for (const QString& line : TestHost::Logs())
            got << line.mid(line.indexOf("] ") + 2);
        QCOMPARE(got, log);
        // Exactly these keys: "res_data" holds "resMsg" even when the run succeeded.
        const QVariantMap res {{"resMsg", mode.isEmpty() ? "" : "task_failed"}};
        const QVariantMap finished {{"user_data", params}, {"nPos", 100}, {"nMax", 100}, {"res_data", res}};
        QCOMPARE(TestHost::Of(3), QVector<QVariant>(runs, finished));
        const QVariantMap progress {{"user_data", params}, {"nPos", 5}, {"nMax", 100}};
        QCOMPARE(TestHost::Of(2), QVector<QVariant>(runs, progress));
    }
};

QTEST_GUILESS_MAIN(TestWorkBase)
#include "tst_workbase.moc"
