// The log writer and the scope timer: exact line texts, cutting, file mode with its
// size rule, and whole lines under concurrent writers.

#include "TestHost.h"
#include "base/CLogWriter.h"
#include "base/PrintTime.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/syscall.h>
#include <unistd.h>

#include <thread>
#include <vector>

using namespace WorkBaseData;

namespace {

qint64 threadNumber()
{
    return static_cast<qint64>(syscall(SYS_gettid));
}

// A whole line: "<date> <time> [<thread>] " then rest (a pattern).
bool isLine(const QString& line, const QString& rest, qint64 tid = threadNumber())
{
    return QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[%1\\] %2$")
                                  .arg(tid)
                                  .arg(rest))
        .match(line)
        .hasMatch();
}

} // namespace

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
        QTest::newRow("error") << 100u << QByteArray("x") << "A::b Error>>> x 5";
        QTest::newRow("warn") << 200u << QByteArray("x") << "A::b Warn>> x 5";
        QTest::newRow("info") << 300u << QByteArray("x") << "A::b Info x 5";
        QTest::newRow("debug, UTF-8") << 400u << QByteArray("Zähler") << "A::b Debug Zähler 5";
        QTest::newRow("unknown level has no word") << 250u << QByteArray("x") << "A::bx 5";
        QTest::newRow("long message cut") << 300u << QByteArray(20000, 'm')
                                          << QStringLiteral("A::b Info ") + QString(10239, QLatin1Char('m'));
    }
    void lineFormat()
    {
        QFETCH(unsigned, level);
        QFETCH(QByteArray, text);
        QFETCH(QString, tail);
        WriteLog(CLogWriter::Instance(), level, "A::b", "%s %d", text.constData(), 5);
        const QStringList logs = TestHost::Logs();
        QCOMPARE(logs.size(), 1);
        QVERIFY2(isLine(logs[0], QRegularExpression::escape(tail)), qPrintable(logs[0].left(200)));
        const QDateTime stamp = QDateTime::fromString(logs[0].left(23), QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
        QVERIFY2(qAbs(stamp.secsTo(QDateTime::currentDateTime())) < 60, "the stamp is the local time of the call");
    }

    void emptyMessageWritesNothing()
    {
        ZRLOG(LOG_ERROR, "f", "%s", "");
        QCOMPARE(TestHost::Count(1), 0);
    }

    void printTimeLogsStartAndElapsed()
    {
        {
            PrintTime timer(QStringLiteral("Stück"));
            QThread::msleep(20); // the timed scope itself, not a wait for something
        }
        const QStringList logs = TestHost::Logs();
        QCOMPARE(logs.size(), 2);
        QVERIFY2(isLine(logs[0], QStringLiteral("WorkBaseData::PrintTime::PrintTime Info << Stück")),
                 qPrintable(logs[0]));
        const QString ms = logs[1].section(QLatin1Char(' '), -2, -2);
        QVERIFY2(isLine(logs[1], QStringLiteral("WorkBaseData::PrintTime::~PrintTime Info Stück >> \\d+ ms"))
                     && ms.toInt() >= 20,
                 qPrintable(logs[1]));
    }

    void concurrentWritersKeepLinesWhole()
    {
        const int threads = 8, lines = 400;
        std::vector<qint64> tids(threads);
        std::vector<std::thread> pool;
        for (int t = 0; t < threads; ++t)
            pool.emplace_back([t, &tids] {
                tids[t] = threadNumber();
                for (int i = 0; i < lines; ++i)
                    ZRLOG(LOG_DEBUG, "C::w", "t%d n%d %s", t, i,
                          QByteArray(i * 37 % 3000 + 1, char('a' + t)).constData());
            });
        for (auto& th : pool)
            th.join();

        const QStringList logs = TestHost::Logs();
        QCOMPARE(logs.size(), threads * lines);
        std::vector<int> next(threads, 0);
        for (const QString& line : logs) {
            const int t = line.section(QLatin1Char(' '), 5, 5).mid(1).toInt();
            QVERIFY2(t >= 0 && t < threads, qPrintable(line.left(200)));
            const int i = next[t]++;
            const QString body(i * 37 % 3000 + 1, QChar('a' + t));
            QVERIFY2(isLine(line, QStringLiteral("C::w Debug t%1 n%2 %3").arg(t).arg(i).arg(body), tids[t]),
                     "each line is whole, from its own thread, in that thread's order");
        }
    }

    void fileMode_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("kept");
        QTest::newRow("new file") << 0 << 0;
        QTest::newRow("at the limit") << 10485760 << 10485760;
        QTest::newRow("one byte over keeps the last 5 MiB") << 10485761 << 5242880;
    }
    void fileMode()
    {
        QFETCH(int, size);
        QFETCH(int, kept);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("zr.log"));
        QByteArray old(size, Qt::Uninitialized);
        QRandomGenerator gen(5); // no period, so a tail cut at a wrong offset shows
        for (char& c : old)
            c = char('a' + gen.bounded(26));
        QFile f(path);
        if (size) {
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(old) == size);
            f.close();
        }
        {
            CLogWriter writer(path);
            QVERIFY(writer.IsFileMode());
            WriteLog(&writer, 200, "F::g", "after %d", 1);
        }
        QCOMPARE(TestHost::Count(1), 0);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray now = f.readAll();
        QVERIFY2(now.left(kept) == old.right(kept), "the newest bytes are kept, in order");
        QVERIFY2(isLine(QString::fromUtf8(now.mid(kept)), QStringLiteral("F::g Warn>> after 1\\n")),
                 now.mid(kept).constData());
    }

    void unopenableFileFallsBackToHost()
    {
        QTemporaryFile notADir;
        QVERIFY(notADir.open());
        CLogWriter writer(notADir.fileName() + QStringLiteral("/zr.log"));
        QVERIFY(!writer.IsFileMode());
        WriteLog(&writer, 200, "H::h", "to host");
        QCOMPARE(TestHost::LogsWith(QStringLiteral("H::h Warn>> to host")).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestLogWriter)
#include "tst_logwriter.moc"
