// The blocking child-process runner against real child programs.
#include "TestHost.h"
#include "work/CProcessWork.h"

#include <QtTest>

class TestProcessWork : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void run_data();
    void run();
    void startFailures_data();
    void startFailures();
    void floodDoesNotDeadlock();
    void workDir_data();
    void workDir();
};

namespace {

QString helper(const QString& name)
{
    return QDir(qEnvironmentVariable("ZRW_BIN_DIR", QCoreApplication::applicationDirPath())).filePath(name);
}

// The message part of the log lines of one function at one level.
QStringList messages(const QString& func, const QString& level)
{
    QStringList out;
    const QString tag = QLatin1Char(' ') + func + QLatin1Char(' ') + level + QLatin1Char(' ');
    for (const QString& line : TestHost::Logs()) {
        const int at = line.indexOf(tag);
        if (at >= 0)
            out << line.mid(at + tag.size());
    }
    return out;
}

QStringList warnings()
{
    return messages("CProcessWork::processError", "Warn>>") + messages("CProcessWork::processFinished", "Warn>>");
}

} // namespace

void TestProcessWork::initTestCase()
{
    QVERIFY2(QFileInfo(helper("helper_exitcode")).isExecutable(), "the helper programs are built beside the tests");
}

void TestProcessWork::init()
{
    TestHost::Install();
}

void TestProcessWork::run_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<bool>("oneShot");
    QTest::addColumn<QStringList>("expectedWarnings");
    QTest::addColumn<QString>("stdErrAfter");

    QTest::newRow("exit 0 keeps stderr") << "helper_exitcode" << QStringList {"0", "café report", "ignored"} << false
                                         << QStringList() << "café report";
    // stderr is printed under the "stdout" label: hosts depend on that order.
    QTest::newRow("exit 1 drains and logs")
        << "helper_exitcode" << QStringList {"1", "bad input", "some output"} << false
        << QStringList {"process parame 1 bad input some output exit code 1",
                        "process stdout bad input stderr some output"}
        << "";
    QTest::newRow("exit 42, no output") << "helper_exitcode" << QStringList {"42"} << false
                                        << QStringList {"process parame 42 exit code 42", "process stdout  stderr "}
                                        << "";
    // Qt reports the crash first, then finishes with the signal number (SIGABRT) as the code.
    QTest::newRow("crash") << "helper_crash" << QStringList() << false
                           << QStringList {"process parame  error code 1", "process parame  exit code 6",
                                           "process stdout about to crash stderr "}
                           << "";
    QTest::newRow("one-shot") << "helper_exitcode" << QStringList {"3", "oops"} << true
                              << QStringList {"process parame 3 oops exit code 3", "process stdout oops stderr "}
                              << "";
}

void TestProcessWork::run()
{
    QFETCH(QString, program);
    QFETCH(QStringList, args);
    QFETCH(bool, oneShot);
    QFETCH(QStringList, expectedWarnings);
    QFETCH(QString, stdErrAfter);

    if (oneShot) {
        CProcessWork::ExecProcess(helper(program), args, QString());
    } else {
        CProcessWork work;
        work.StartTask(helper(program), args, QString());
        QCOMPARE(work.GetStdErr(), stdErrAfter);
        QCOMPARE(work.Succeeded(), expectedWarnings.isEmpty());
    }
    QCOMPARE(messages("CProcessWork::StartTask", "Info"), QStringList {"exec " + args.join(' ')});
    QCOMPARE(warnings(), expectedWarnings);
}

void TestProcessWork::startFailures_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("warning");
    QTest::newRow("missing file") << "/nonexistent/zrw/prog" << "process parame a b c error code 0";
    // QProcess refuses an empty program before it takes the arguments.
    QTest::newRow("empty program") << "" << "process parame  error code 0";
    QTest::newRow("not executable") << "NOEXEC" << "process parame a b c error code 0";
}

void TestProcessWork::startFailures()
{
    QFETCH(QString, program);
    QFETCH(QString, warning);
    QTemporaryDir dir;
    if (program == "NOEXEC") {
        program = dir.filePath("plain.txt");
        QFile f(program);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("not a program\n");
    }
    CProcessWork work;
    QElapsedTimer timer;
    timer.start();
    work.StartTask(program, {"a", "b c"}, QString());
    QVERIFY2(timer.elapsed() < 5000, "a failed start must not wait for a child");
    QCOMPARE(warnings(), QStringList {warning});
    QVERIFY(!work.Succeeded());
}

void TestProcessWork::floodDoesNotDeadlock()
{
    // 32 MiB on stdout, far beyond any pipe buffer, while nobody reads during the run.
    CProcessWork work;
    work.StartTask(helper("helper_flood"), {"32", "256"}, QString());
    QVERIFY2(work.Succeeded(), "the flooding child must run to its end");
    const QString err = work.GetStdErr();
    QCOMPARE(err.size(), 256 * 1024 + 10);
    QVERIFY(err.endsWith("flood done"));
}

void TestProcessWork::workDir_data()
{
    QTest::addColumn<bool>("bSet");
    QTest::newRow("empty inherits") << false;
    QTest::newRow("given is applied") << true;
}

void TestProcessWork::workDir()
{
    QFETCH(bool, bSet);
    QTemporaryDir base;
    const QString dir = base.filePath(QStringLiteral("wd with space é"));
    QVERIFY(QDir().mkpath(dir));

    CProcessWork work;
    work.StartTask(helper("helper_pwd"), {}, bSet ? dir : QString());
    const QString expected = bSet ? dir : QDir::currentPath();
    QCOMPARE(QFileInfo(work.GetStdErr()).canonicalFilePath(), QFileInfo(expected).canonicalFilePath());
}

QTEST_GUILESS_MAIN(TestProcessWork)
#include "tst_processwork.moc"
