// The public utilities: fingerprints against an independent MD5, time texts, unique
// names and folders, recursive removal and the mode-file tag.

#include "base/PubUtils.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

using WorkBaseData::PubUtils;

static bool writeFile(const QString& path, const QByteArray& data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

static QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

class TestPubUtils : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;

private Q_SLOTS:
    void fingerprint_data()
    {
        QTest::addColumn<int>("size");
        QTest::newRow("one byte under sampling") << 5242879;
        QTest::newRow("exactly the sampling size") << 5242880;
        QTest::newRow("size not a multiple of 5") << 7340033;
    }
    // The whole file below 5 MiB; from there five 512 KiB blocks at every fifth of the file, then the last 512 KiB.
    void fingerprint()
    {
        QFETCH(int, size);
        QByteArray data(size, '\0'), hashed;
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(data.data()), size / 4);
        for (int i = 0; i < 5; ++i)
            hashed += data.mid(i * (size / 5), 524288);
        hashed = size < 5242880 ? data : hashed + data.right(524288);
        QVERIFY(writeFile(m_tmp.filePath("f"), data));
        QCOMPARE(PubUtils::GetFileFingerprint(m_tmp.filePath("f")),
                 QString(QCryptographicHash::hash(hashed, QCryptographicHash::Md5).toHex().toUpper()));
    }

    // Hours asked for, as file names want them, are in the segment lists of the voice detection tests.
    void formatSeconds_data()
    {
        QTest::addColumn<qint64>("seconds");
        QTest::addColumn<bool>("bFileName");
        QTest::addColumn<QString>("expected");
        QTest::newRow("59 s") << qint64(59) << false << "00:59";
        QTest::newRow("an hour forces hours") << qint64(3600) << false << "01:00:00";
        QTest::newRow("over 99 hours, file name") << qint64(360061) << true << "1000101";
    }
    void formatSeconds()
    {
        QFETCH(qint64, seconds);
        QFETCH(bool, bFileName);
        QTEST(PubUtils::FormatSeconds(seconds, false, bFileName), "expected");
    }

    // Choosing a name reserves it (an empty file), so the next choice moves on at once.
    void uniqueFilePathCountsUpTo99()
    {
        QTemporaryDir dir;
        for (int n = 0; n <= 100; ++n) {
            bool reserved = false;
            const QString path = PubUtils::MakeUniqueFilePath(dir.path(), "v", n % 2 ? "mp4" : ".mp4", &reserved);
            QCOMPARE(path, dir.filePath(n ? QString("v_%1.mp4").arg(qMin(n, 99)) : QString("v.mp4")));
            QCOMPARE(reserved, n < 100);
            QVERIFY(QFileInfo(path).isFile());
        }
        QVERIFY(!PubUtils::KeepOutput(dir.filePath("v.mp4")) && !QFileInfo::exists(dir.filePath("v.mp4")));
    }

    void tempWorkDirsAreUnique()
    {
        // Each pause lets the clock pass the last stamp handed out, so the first call of a
        // pair gets a fresh millisecond and the second call most likely shares it.
        QSet<QString> made;
        for (int i = 0; i < 20; ++i) {
            QThread::msleep(3);
            made << PubUtils::MakeTempWorkDir(m_tmp.path()) << PubUtils::MakeTempWorkDir(m_tmp.path());
        }
        QCOMPARE(made.size(), 40);
        QCOMPARE(QDir(m_tmp.path()).entryList({"_temp*"}, QDir::Dirs).size(), 40);
    }

    void removeDir()
    {
        QVERIFY2(PubUtils::RemoveDir(m_tmp.filePath("never-made")), "nothing to remove is success");
        QVERIFY2(PubUtils::RemoveDir(QString()) && QDir::current().exists(), "an empty path is not the current folder");

        const QString root = m_tmp.filePath("tree"), outside = m_tmp.filePath("out");
        QVERIFY(QDir().mkpath(root + "/a/.hidden/deep") && QDir().mkpath(outside));
        QVERIFY(writeFile(root + "/a/.hidden/deep/.dot", "x") && writeFile(outside + "/keep.txt", "x"));
        QVERIFY(QFile::link(outside, root + "/a/link-to-outside"));
        QVERIFY(PubUtils::RemoveDir(root) && !QFileInfo::exists(root));
        QVERIFY2(QFile::exists(outside + "/keep.txt"), "a linked folder is not followed");
    }

    void modeFile_data()
    {
        QTest::addColumn<bool>("mark");
        QTest::addColumn<QString>("src"); // in the fixture folder: plain, tagged, cut or flipped
        QTest::addColumn<QString>("dst"); // in the fixture folder, where "old" exists already
        QTest::addColumn<bool>("ok");
        QTest::newRow("untagging gives every byte back") << false << "tagged" << "out" << true;
        QTest::newRow("missing source") << true << "absent" << "out" << false;
        QTest::newRow("tagging a tagged file") << true << "tagged" << "out" << false;
        QTest::newRow("destination under a file") << true << "plain" << "plain/sub/out" << false;
        QTest::newRow("untagged source") << false << "plain" << "out" << false;
        QTest::newRow("truncated tagged source") << false << "cut" << "out" << false;
        QTest::newRow("damaged payload, old destination kept") << false << "flipped" << "old" << false;
    }
    void modeFile()
    {
        QFETCH(bool, mark);
        QFETCH(QString, src);
        QFETCH(QString, dst);
        QTemporaryDir dir;
        const auto at = [&dir](const QString& name) { return dir.filePath(name); };
        QByteArray plain; // every byte value, nine times
        while (plain.size() < 256 * 9)
            plain += static_cast<char>(plain.size());
        QVERIFY(writeFile(at("plain"), plain) && writeFile(at("old"), "old"));
        QVERIFY(PubUtils::MarkModeFile(at("plain"), at("tagged")));
        QByteArray tagged = readFile(at("tagged"));
        QVERIFY2(tagged.size() == plain.size() + 32 && tagged.startsWith("zrmode"), "a tagged copy carries the tag");
        QVERIFY2(!tagged.contains(plain.left(16)), "the model bytes are not stored plain");
        QVERIFY(writeFile(at("cut"), tagged.left(tagged.size() - 1)));
        tagged[1000] = static_cast<char>(~tagged[1000]);
        QVERIFY(writeFile(at("flipped"), tagged));
        const auto entries = [&dir] { return QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot); };
        const QStringList before = entries();

        QTEST(mark ? PubUtils::MarkModeFile(at(src), at(dst)) : PubUtils::UnmarkModeFile(at(src), at(dst)), "ok");
        if (QFileInfo::exists(at("out")))
            QCOMPARE(readFile(at("out")), plain);
        else
            QCOMPARE(entries(), before);
        QCOMPARE(readFile(at("old")), QByteArray("old"));
    }
};

QTEST_GUILESS_MAIN(TestPubUtils)
#include "tst_pubutils.moc"
