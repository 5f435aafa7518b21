// The log writer and the scope timer: exact line texts, whole lines under concurrent
// writers, and the size rule of a log file.

#include "TestHost.h"
#include "base/CLogWriter.h"
#include "base/PrintTime.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/syscall.h>
#include <unistd.h>

#include <thread>
#include <vector>

using namespace WorkBaseData;

// A whole line of this thread: "<date> <time> [<thread>] " then rest (a pattern).
static bool isLine(const QString& line, const QString& rest)
{
    const QString head("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[%1\\] ");
    return QRegularExpression(head.arg(syscall(SYS_gettid)) + rest + '$').match(line).hasMatch();
}

class TestLogWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestHost::Install(); }
    void init() { TestHost::Clear(); }

    void lineFormat_data()
    {
        QTest::addColumn<unsigned>("level");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("tail"); // empty: nothing is written
        // The other level words are in the lines the tests below check.
        QTest::newRow("error, UTF-8") << 100u << QByteArray("Zähler 5") << "A::b Error>>> Zähler 5";
        QTest::newRow("unknown level has no word") << 250u << QByteArray("x 5") << "A::bx 5";
        QTest::newRow("empty message") << 100u << QByteArray() << "";
        QTest::newRow("long message cut") << 300u << QByteArray(20000, 'm') << "A::b Info " + QString(10239, 'm');
    }
    void lineFormat()
    {
        QFETCH(unsigned, level);
        QFETCH(QByteArray, text);
        QFETCH(QString, tail);
        WriteLog(CLogWriter::Instance(), level, "A::b", "%s", text.constData());
        const QStringList logs = TestHost::Logs();
        QCOMPARE(logs.size(), tail.isEmpty() ? 0 : 1);
        for (const QString& line : logs)
            QVERIFY2(isLine(line, QRegularExpression::escape(tail)), qPrintable(line.left(200)));
    }

    void printTimeLogsStartAndElapsed()
    {
        { PrintTime timer("Stück"); }
        const QStringList logs = TestHost::Logs();
        QCOMPARE(logs.size(), 2);
        QVERIFY2(isLine(logs[0], "WorkBaseData::PrintTime::PrintTime Info << Stück"), qPrintable(logs[0]));
        QVERIFY2(isLine(logs[1], "WorkBaseData::PrintTime::~PrintTime Info Stück >> \\d+ ms"), qPrintable(logs[1]));
    }

    void concurrentWritersKeepLinesWhole()
    {
        std::vector<long> tids(8);
        std::vector<std::thread> pool;
        for (int t = 0; t < 8; ++t)
            pool.emplace_back([t, &tids] {
                tids[t] = syscall(SYS_gettid);
                for (int i = 0; i < 400; ++i)
                    ZRLOG(LOG_DEBUG, "C::w", "t%d n%d %s", t, i, QByteArray(i * 37 % 3000 + 1, 'a' + t).constData());
            });
        for (auto& th : pool)
            th.join();

        // Each line whole, from its own thread, in that thread's order.
        const QStringList logs = TestHost::Logs();
        QCOMPARE(logs.size(), 3200);
        std::vector<int> next(8, 0);
        for (const QString& line : logs) {
            const int t = qBound(0, line.section(' ', 5, 5).mid(1).toInt(), 7), i = next[t]++;
            const QString body(i * 37 % 3000 + 1, QChar('a' + t));
            QVERIFY2(line.mid(24) == QString("[%1] C::w Debug t%2 n%3 %4").arg(tids[t]).arg(t).arg(i).arg(body),
                     qPrintable(line.left(200))); // after the time stamp, whose form lineFormat checks
        }
    }

    void fileModeKeepsLast5MiBOfAnOversizedLog()
    {
        QTemporaryDir dir;
        QFile f(dir.filePath("zr.log"));
        QByteArray old; // counting, not repeating, so a tail cut at a wrong offset shows
        for (int i = 0; old.size() <= 10485760; ++i)
            old += QByteArray::number(i) + ' ';
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(old) == old.size());
        f.close();
        { CLogWriter writer(f.fileName()); WriteLog(&writer, 200, "F::g", "after %d", 1); }
        QCOMPARE(TestHost::Count(1), 0);
        const QByteArray now = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        QVERIFY2(now.left(5242880) == old.right(5242880), "the newest bytes are kept, in order");
        QVERIFY2(isLine(QString::fromUtf8(now.mid(5242880)), "F::g Warn>> after 1\\n"), now.mid(5242880).constData());
    }
};

QTEST_GUILESS_MAIN(TestLogWriter)
#include "tst_logwriter.moc"
