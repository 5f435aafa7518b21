// The blocking child-process runner against a real child program.
#include "TestHost.h"
#include "work/CProcessWork.h"

#include <QtTest>

#include <csignal>
#include <unistd.h>

static QString child()
{
    return QDir(qEnvironmentVariable("ZRW_BIN_DIR", QCoreApplication::applicationDirPath())).filePath("helper_child");
}

Q_DECLARE_METATYPE(CProcessWork::Outcome)

class TestProcessWork : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { TestHost::Install(); }

    void run_data()
    {
        QTest::addColumn<QString>("program"); // empty: the helper child
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QStringList>("log"); // after the "exec" line, without stamp and thread
        QTest::addColumn<QString>("stdErrAfter");
        QTest::addColumn<CProcessWork::Outcome>("outcome");
        using O = CProcessWork::Outcome;
        const QString fin = "CProcessWork::processFinished Warn>> process ";
        QTest::newRow("exit 0 keeps stderr") << "" << QStringList {"exit", "0", "café", "ignored"} << QStringList()
                                             << "café" << O::Ok;
        // stderr goes under the "stdout" label: hosts parse the line as it has always been.
        QTest::newRow("exit 1 drains both channels into the log") << "" << QStringList {"exit", "1", "bad", "some out"}
            << QStringList {fin + "parame exit 1 bad some out exit code 1", fin + "stdout bad stderr some out"} << "" << O::ExitCode;
        // A crash is an error (1, crashed) and then a finish whose code is the signal (abort: 6).
        QTest::newRow("crash") << "" << QStringList {"crash"}
            << QStringList {"CProcessWork::processError Warn>> process parame crash error code 1",
                            fin + "parame crash exit code 6", fin + "stdout  stderr "} << "" << O::Crashed;
        QTest::newRow("missing program") << "/nonexistent/zrw/prog" << QStringList {"a", "b c"}
            << QStringList {"CProcessWork::processError Warn>> process parame a b c error code 0"} << "" << O::NotStarted;
        // 32 MiB on stdout, far beyond any pipe buffer, while nobody reads during the run.
        QTest::newRow("flood does not deadlock") << "" << QStringList {"flood", "32", "256"} << QStringList()
                                                 << QString(256 * 1024, 'e') + "flood done" << O::Ok;
    }
    void run()
    {
        QFETCH(QString, program);
        QFETCH(QStringList, args);
        QFETCH(QStringList, log);
        QFETCH(QString, stdErrAfter);
        CProcessWork work;
        work.StartTask(program.isEmpty() ? child() : program, args, QString());
        QCOMPARE(TestHost::Lines(), QStringList {"CProcessWork::StartTask Info exec " + args.join(' ')} + log);
        QCOMPARE(work.GetStdErr(), stdErrAfter);
        QCOMPARE(work.Succeeded(), log.isEmpty());
        QFETCH(CProcessWork::Outcome, outcome);
        QCOMPARE(work.GetOutcome(), outcome);
    }

    // A terminal's Ctrl-C goes to the foreground group: the child must not be in ours.
    void childLeadsItsOwnGroup()
    {
        CProcessWork work;
        work.StartTask(child(), {"group"}, QString());
        const QStringList ids = work.GetStdErr().split(' ');
        QCOMPARE(ids.size(), 2);
        QCOMPARE(ids.at(0), ids.at(1));
        QVERIFY(ids.at(0).toInt() != int(getpgrp()));
    }

#ifdef Q_OS_LINUX
    // A host that is killed takes its tools with it.
    void childDiesWithItsHost()
    {
        CProcessWork work;
        work.StartTask(child(), {"deathsig"}, QString());
        QCOMPARE(work.GetStdErr(), QString::number(SIGTERM));
    }
#endif
};

QTEST_GUILESS_MAIN(TestProcessWork)
#include "tst_processwork.moc"
