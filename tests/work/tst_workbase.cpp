// The work thread frame and its lifecycle, driven through a tiny work.
#include "TestHost.h"
#include "work/CWorkBase.h"

#include <QtTest>

#include <stdexcept>

// A work whose body waits for its gate to open, then fails, throws or counts a mark in its
// result as its "mode" says.
class TestWork : public CWorkBase
{
    Q_OBJECT
public:
    explicit TestWork(const Guards& guards) : CWorkBase(99, guards) {}
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
        else if (mode == "mark") // a result kept from the run before would count 2
            m_mapResult.insert("nMark", m_mapResult.value("nMark").toInt() + 1);
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
        QTest::addColumn<bool>("working");    // the working flag at the end
        QTest::newRow("failing") << "fail" << "start open join" << 1
                                 << QStringList {"TestWork::DoWork Warn>> task_failed"} << true;
        QTest::newRow("throwing") << "throw" << "start open join" << 1
                                  << QStringList {"TestWork::run Error>>> work threw boom"} << true;
        QTest::newRow("run twice") << "mark" << "start stop open join start stop open join" << 2 << QStringList() << false;
        // The stopped run still ends at the second start: that start neither runs again nor cancels the stop.
        QTest::newRow("restart while running") << "" << "start stop start open join" << 1 << QStringList() << false;
        // A device (or FIFO) as "sFile" is refused before the body, which would wait on it, even where
        // the work's own tools judge the input; a work that asks for a usable input refuses a missing one.
        QTest::newRow("stream input refused") << "stream" << "start join" << 1
                                              << QStringList {"TestWork::DoWork Warn>> read_input_failed"} << true;
        QTest::newRow("missing input refused") << "guarded" << "start join" << 1
                                               << QStringList {"TestWork::DoWork Warn>> read_input_failed"} << true;
        QTest::newRow("join times out") << "" << "start hurry" << 0
                                        << QStringList {"TestWork::JoinWork Warn>> thread time out 50. terminate"} << true;
    }
    void lifecycle()
    {
        QFETCH(QString, mode);
        QFETCH(QString, ops);
        QFETCH(int, runs);
        QFETCH(QStringList, log);
        QFETCH(bool, working);
        TestHost::Install();
        const QVariantMap params {{"sFile", mode == "stream" ? "/dev/null" : "in.wav"}, {"mode", mode}};
        CWorkBase::Guards guards;
        guards.bCheckInput = mode == "guarded";
        guards.bNeedSaveDir = false;
        TestWork work(guards);
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
        QCOMPARE(work.IsWorking(), working);
        QCOMPARE(TestHost::Lines(), log);
        // Exactly these keys: "res_data" holds "resMsg" even when the run succeeded.
        const bool refused = mode == "stream" || mode == "guarded";
        QVariantMap res {{"resMsg", refused                              ? "read_input_failed"
                                    : mode == "fail" || mode == "throw" ? "task_failed" : ""}};
        if (mode == "mark")
            res.insert("nMark", 1);
        const QVariantMap finished {{"user_data", params}, {"nPos", 100}, {"nMax", 100}, {"res_data", res}};
        QCOMPARE(TestHost::Of(3), QVector<QVariant>(runs, finished));
        const QVariantMap progress {{"user_data", params}, {"nPos", 5}, {"nMax", 100}};
        QCOMPARE(TestHost::Of(2), QVector<QVariant>(refused ? 0 : runs, progress));
    }
};

QTEST_GUILESS_MAIN(TestWorkBase)
#include "tst_workbase.moc"
