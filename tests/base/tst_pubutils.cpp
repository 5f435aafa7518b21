// The public utilities: fingerprints against md5sum, time texts, unique names and
// folders, recursive removal, device listing and the mode-file tag.

#include "TestHost.h"
#include "base/PubUtils.h"

#include <QCryptographicHash>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

#include <thread>
#include <vector>

using WorkBaseData::PubUtils;

namespace {

QByteArray randomBytes(int size, quint32 seed)
{
    QByteArray data(size, Qt::Uninitialized);
    QRandomGenerator gen(seed);
    for (char& c : data)
        c = static_cast<char>(gen.bounded(256));
    return data;
}

bool writeFile(const QString& path, const QByteArray& data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

class TestPubUtils : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;

private Q_SLOTS:
    void initTestCase() { TestHost::Install(); }
    void init() { TestHost::Clear(); }

    void fingerprint_data()
    {
        QTest::addColumn<int>("size");
        QTest::newRow("empty") << 0;
        QTest::newRow("one byte under sampling") << 5242879;
        QTest::newRow("exactly the sampling size") << 5242880;
        QTest::newRow("odd size") << 7340033;
    }
    void fingerprint()
    {
        QFETCH(int, size);
        const QString file = m_tmp.filePath(QStringLiteral("fp.bin"));
        QByteArray data = randomBytes(size, 7);
        QVERIFY(writeFile(file, data));
        const QString fp = PubUtils::GetFileFingerprint(file);
        QProcess md5sum;
        md5sum.start(QStringLiteral("md5sum"), {file});
        QVERIFY(md5sum.waitForFinished(30000));
        const QString whole = QString::fromLatin1(md5sum.readAllStandardOutput().left(32)).toUpper();
        if (size < 5242880) {
            QCOMPARE(fp, whole);
            return;
        }
        const int block = 524288, step = size / 5;
        QByteArray samples;
        for (int i = 0; i < 5; ++i)
            samples += data.mid(i * step, block);
        samples += data.right(block);
        QCOMPARE(fp, QString::fromLatin1(QCryptographicHash::hash(samples, QCryptographicHash::Md5).toHex().toUpper()));
        QVERIFY2(fp != whole, "a large file is sampled, not hashed whole");

        // A byte between two samples is not part of the key; one in the last block is.
        data[block + 10] = static_cast<char>(~data[block + 10]);
        QVERIFY(writeFile(file, data));
        QCOMPARE(PubUtils::GetFileFingerprint(file), fp);
        data[size - 1] = static_cast<char>(~data[size - 1]);
        QVERIFY(writeFile(file, data));
        QVERIFY2(PubUtils::GetFileFingerprint(file) != fp, "the last block belongs to the key");
    }

    void fingerprintOfUnreadableIsEmpty()
    {
        QCOMPARE(PubUtils::GetFileFingerprint(m_tmp.filePath(QStringLiteral("missing"))), QString());
        QCOMPARE(PubUtils::GetFileFingerprint(m_tmp.path()), QString());
    }

    void formatSeconds_data()
    {
        QTest::addColumn<qint64>("seconds");
        QTest::addColumn<bool>("bHours");
        QTest::addColumn<bool>("bFileName");
        QTest::addColumn<QString>("expected");
        QTest::newRow("59 s") << qint64(59) << false << false << "00:59";
        QTest::newRow("an hour forces hours") << qint64(3600) << false << false << "01:00:00";
        QTest::newRow("hours asked") << qint64(75) << true << false << "00:01:15";
        QTest::newRow("file name") << qint64(75) << true << true << "000115";
        QTest::newRow("over 99 hours") << qint64(360061) << false << true << "1000101";
    }
    void formatSeconds()
    {
        QFETCH(qint64, seconds);
        QFETCH(bool, bHours);
        QFETCH(bool, bFileName);
        QTEST(PubUtils::FormatSeconds(seconds, bHours, bFileName), "expected");
    }

    void uniqueFilePath_data()
    {
        QTest::addColumn<int>("present"); // -1: nothing; 0: base only; n: base and base_1..base_n
        QTest::addColumn<QString>("ext");
        QTest::addColumn<QString>("expected");
        QTest::newRow("free, dotted extension") << -1 << ".mp4" << "v.mp4";
        QTest::newRow("base taken") << 0 << "mp4" << "v_1.mp4";
        QTest::newRow("up to 5 taken") << 5 << "mp4" << "v_6.mp4";
        QTest::newRow("all taken stops at 99") << 99 << "mp4" << "v_99.mp4";
    }
    void uniqueFilePath()
    {
        QFETCH(int, present);
        QFETCH(QString, ext);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        for (int n = 0; n <= present; ++n)
            QVERIFY(writeFile(dir.filePath(n ? QStringLiteral("v_%1.mp4").arg(n) : QStringLiteral("v.mp4")), "x"));
        QCOMPARE(PubUtils::MakeUniqueFilePath(dir.path() + QLatin1Char('/'), QStringLiteral("v"), ext),
                 dir.filePath(expected));
    }

    void tempWorkDirsAreUniqueAcrossThreads()
    {
        // Tight loops on four threads: many calls share a millisecond.
        QTemporaryDir dir;
        std::vector<QStringList> made(4);
        std::vector<std::thread> threads;
        for (auto& list : made)
            threads.emplace_back([&list, &dir] {
                for (int i = 0; i < 300; ++i)
                    list.append(PubUtils::MakeTempWorkDir(dir.path()));
            });
        for (auto& t : threads)
            t.join();
        const QRegularExpression name(
            QStringLiteral("^%1/_temp(1\\d{4})_\\d{13}$").arg(QRegularExpression::escape(dir.path())));
        QSet<QString> all, runs;
        for (const QStringList& list : made) {
            for (const QString& p : list) {
                const auto m = name.match(p);
                QVERIFY2(m.hasMatch() && QFileInfo(p).isDir(), qPrintable(p));
                runs.insert(m.captured(1));
                all.insert(p);
            }
        }
        QCOMPARE(all.size(), 1200);
        QCOMPARE(runs.size(), 1);
    }

    void removeDir()
    {
        QVERIFY2(PubUtils::RemoveDir(m_tmp.filePath(QStringLiteral("never-made"))), "nothing to remove is success");
        QVERIFY(PubUtils::RemoveDir(QString()));
        QVERIFY2(QDir::current().exists(), "an empty path must not mean the current folder");

        const QString root = m_tmp.filePath(QStringLiteral("tree")), outside = m_tmp.filePath(QStringLiteral("out"));
        QVERIFY(QDir().mkpath(root + QStringLiteral("/a/.hidden/deep")) && QDir().mkpath(outside));
        QVERIFY(writeFile(root + QStringLiteral("/a/.hidden/deep/.dot"), "x"));
        QVERIFY(writeFile(root + QStringLiteral("/ro.txt"), "x"));
        QVERIFY(QFile::setPermissions(root + QStringLiteral("/ro.txt"), QFileDevice::ReadOwner));
        QVERIFY(writeFile(outside + QStringLiteral("/keep.txt"), "x"));
        QVERIFY(QFile::link(outside, root + QStringLiteral("/a/link-to-outside")));
        QVERIFY(QFile::link(m_tmp.filePath(QStringLiteral("nowhere")), root + QStringLiteral("/broken")));
        QVERIFY(PubUtils::RemoveDir(root));
        QVERIFY2(!QFileInfo::exists(root), "the whole tree is gone");
        QVERIFY2(QFile::exists(outside + QStringLiteral("/keep.txt")), "a linked folder is not followed");
        QCOMPARE(TestHost::Count(1), 0);

        // Nothing in /proc can be unlinked or chmod-ed, even by root.
        QVERIFY(!PubUtils::RemoveDir(QStringLiteral("/proc/self/fdinfo")));
        const QStringList logs = TestHost::Logs();
        QCOMPARE(logs.size(), 1);
        QVERIFY2(logs[0].contains(QStringLiteral(
                     "] WorkBaseData::PubUtils::RemoveDir Warn>> remove dir failed /proc/self/fdinfo/")),
                 qPrintable(logs[0]));
    }

    void videoDevicesSkipNonCaptureNodes()
    {
        QTemporaryDir dev;
        QVERIFY(writeFile(dev.filePath(QStringLiteral("video0")), "not a device"));
        QVERIFY(QFile::link(QStringLiteral("/dev/null"), dev.filePath(QStringLiteral("video2"))));
        QVERIFY(QDir(dev.path()).mkdir(QStringLiteral("video3")));
        QCOMPARE(PubUtils::EnumVideoDevicesIn(dev.path()), QStringList());
        if (!QDir(QStringLiteral("/dev")).entryList({QStringLiteral("video*")}, QDir::System).isEmpty())
            QSKIP("this machine has video nodes");
        QCOMPARE(PubUtils::EnumVideoDevices(), QStringList());
    }

    void modeFileRoundTrip_data()
    {
        QTest::addColumn<QByteArray>("source");
        QByteArray every(256 * 9, '\0');
        for (int i = 0; i < every.size(); ++i)
            every[i] = static_cast<char>(i);
        QTest::newRow("every byte value") << every;
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("several copy chunks") << randomBytes(3 * 1048576 + 7, 11);
    }
    void modeFileRoundTrip()
    {
        QFETCH(QByteArray, source);
        QTemporaryDir dir;
        const QString src = dir.filePath(QStringLiteral("m.bin")), tagged = dir.filePath(QStringLiteral("m.zr")),
                      back = dir.filePath(QStringLiteral("m.out"));
        QVERIFY(writeFile(src, source));
        QVERIFY(PubUtils::MarkModeFile(src, tagged));
        const QByteArray mark = readFile(tagged);
        QVERIFY2(mark.size() == source.size() + 32 && mark.startsWith("zrmode"), "a tagged copy carries the tag");
        QVERIFY2(source.size() < 16 || !mark.contains(source.left(16)), "the model bytes are not stored plain");
        QVERIFY2(!PubUtils::MarkModeFile(tagged, back) && !QFile::exists(back), "a tagged file is not tagged twice");
        QVERIFY(PubUtils::UnmarkModeFile(tagged, back));
        QVERIFY2(readFile(back) == source, "unmarking gives back the source byte for byte");
    }

    void modeFileFailureLeavesNoDestination_data()
    {
        QTest::addColumn<bool>("mark");
        QTest::addColumn<QString>("src"); // a file of the fixture folder, "cut" or "flipped" tagged copies
        QTest::addColumn<QString>("dst"); // relative to the fixture folder unless absolute
        QTest::newRow("missing source") << true << "absent.bin" << "out.bin";
        QTest::newRow("untagged source") << false << "plain.bin" << "out.bin";
        QTest::newRow("truncated tagged source") << false << "cut" << "out.bin";
        QTest::newRow("damaged payload") << false << "flipped" << "out.bin";
        QTest::newRow("damaged payload, old destination kept") << false << "flipped" << "old.bin";
        QTest::newRow("destination under a file") << true << "plain.bin" << "plain.bin/sub/out.bin";
        QTest::newRow("destination under /proc") << true << "plain.bin" << "/proc/zrw_mode_out.bin";
    }
    void modeFileFailureLeavesNoDestination()
    {
        QFETCH(bool, mark);
        QFETCH(QString, src);
        QFETCH(QString, dst);
        QTemporaryDir dir;
        QVERIFY(writeFile(dir.filePath(QStringLiteral("plain.bin")), randomBytes(100000, 3)));
        QVERIFY(writeFile(dir.filePath(QStringLiteral("old.bin")), "old"));
        QVERIFY(PubUtils::MarkModeFile(dir.filePath(QStringLiteral("plain.bin")), dir.filePath(QStringLiteral("cut"))));
        QByteArray tagged = readFile(dir.filePath(QStringLiteral("cut")));
        QVERIFY(writeFile(dir.filePath(QStringLiteral("cut")), tagged.left(tagged.size() - 1)));
        tagged[50000] = static_cast<char>(~tagged[50000]);
        QVERIFY(writeFile(dir.filePath(QStringLiteral("flipped")), tagged));
        const QString target = QDir::isAbsolutePath(dst) ? dst : dir.filePath(dst);
        const QStringList before = QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);

        const QString source = dir.filePath(src);
        QVERIFY(!(mark ? PubUtils::MarkModeFile(source, target) : PubUtils::UnmarkModeFile(source, target)));
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), before);
        if (dst == QLatin1String("old.bin"))
            QCOMPARE(readFile(target), QByteArray("old"));
        else
            QVERIFY2(!QFileInfo::exists(target), "a failure leaves no partial destination");
    }
};

QTEST_GUILESS_MAIN(TestPubUtils)
#include "tst_pubutils.moc"
