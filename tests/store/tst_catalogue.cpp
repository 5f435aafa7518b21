// The video file catalogue. The store is one object per process, so the tests run in
// order: refused before init, failed inits, then a catalogue that fills up.

#include "StoreTestUtil.h"
#include "store/CDBStore.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

using namespace StoreTest;

class TstCatalogue : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    CDBStore* m_store = CDBStore::GetInstance();
    int m_nFile = 0;

    // A file whose content no other file of the run has.
    QString uniqueFile(const QString& suffix = ".mp4")
    {
        const QString path = m_dir.filePath(QStringLiteral("clip%1%2").arg(++m_nFile).arg(suffix));
        return WriteFile(path, QStringLiteral("content %1").arg(m_nFile).toUtf8()) ? path : QString();
    }

    QString saveDir() const { return m_store->Params().value("saveDir").toString(); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        TestHost::Install();
    }

    void everyOperationNeedsInit()
    {
        VideoFileRecord record;
        QList<VideoFileRecord> list;
        qint64 count = 0;
        QCOMPARE(m_store->GetVideoFile(m_dir.path(), record, true, 1), -1);
        QCOMPARE(m_store->UpdateVideoFile(record, {{"nick", "n"}}), -1);
        QCOMPARE(m_store->GetVideoFileCount(1, count), -1);
        QCOMPARE(m_store->GetVideoFileList(list, 1, 1, 10), -1);
        for (const char* func : {"GetVideoFile", "UpdateVideoFile", "GetVideoFileCount", "GetVideoFileList"})
            QVERIFY2(LogsOf(QLatin1String("CDBStore::") + func, "db not init").size() == 1, func);
    }

    void initFails_data()
    {
        QTest::addColumn<QVariantMap>("params");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("log");
        const auto dir = [](const QString& d) { return QVariantMap{{"saveDir", d}}; };
        QTest::newRow("no key") << QVariantMap{{"savedir", m_dir.path()}} << -1 << "no save dir";
        QTest::newRow("empty") << dir(QString()) << -1 << "no save dir";
        // Tests run as root, which ignores file modes: unusable folders are made of things that are no folders.
        const QString file = m_dir.filePath("plain.txt");
        WriteFile(file, "not a folder");
        QTest::newRow("under a file") << dir(file + "/db") << -2 << "make dir failed " + file + "/db";
        QTest::newRow("inside /proc") << dir("/proc/zrw/db") << -2 << "make dir failed /proc/zrw/db";
        QTest::newRow("/proc") << dir("/proc") << -3 << "sql failed query  err unable to open database file";
        const QString garbage = m_dir.filePath("garbage");
        QByteArray bytes(65536, Qt::Uninitialized);
        QRandomGenerator(3).fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
        QDir().mkpath(garbage);
        WriteFile(garbage + "/videofile.fdb", bytes);
        QTest::newRow("random bytes") << dir(garbage) << -3
                                      << QStringLiteral("sql failed query create table tb_VideoFile_1 (key varchar "
                                                        "primary key,path varchar not null,name varchar not null,"
                                                        "ctime bigint not null,mtime bigint not null,size bigint not "
                                                        "null,width bigint,height bigint,duration bigint,ver bigint "
                                                        "not null,endbtype bigint not null,model varchar,enstate "
                                                        "bigint not null,mcount bigint not null,nick varchar,jsext "
                                                        "varchar) err file is not a database");
    }

    void initFails()
    {
        QFETCH(QVariantMap, params);
        QFETCH(int, status);
        QFETCH(QString, log);
        TestHost::Clear();
        if (params.value("saveDir") == "/proc")
            QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("unable to open database file"));
        QCOMPARE(m_store->InitDBTable(params), status);
        QCOMPARE(LogsOf("CDBStore::InitDBTable", log).size(), 1);
        QVERIFY2(m_store->CataloguePath().isEmpty(), "a failed init leaves the store uninitialised");
    }

    void initCreatesFolderAndTables()
    {
        TestHost::Clear();
        const QString dir = m_dir.filePath("a/zrModelData");
        QCOMPARE(m_store->InitDBTable({{"saveDir", dir + "/../zrModelData"}}), 0);
        const QString path = dir + "/videofile.fdb";
        QCOMPARE(m_store->CataloguePath(), path);
        QCOMPARE(saveDir(), dir);
        QCOMPARE(LogsOf("CDBStore::InitDBTable", "init db ok " + path).size(), 1);
        QCOMPARE(Query(path, "SELECT name FROM sqlite_master WHERE type='table' ORDER BY name"),
                 (QStringList{"tb_VideoFile_1", "tb_VideoFile_2"}));

        QCOMPARE(m_store->InitDBTable({{"saveDir", m_dir.filePath("other")}}), 0);
        QCOMPARE(saveDir(), dir);
        QVERIFY2(!QFileInfo::exists(m_dir.filePath("other")), "a second init touches nothing");
    }

    void lookupAndCreate()
    {
        const QString file = uniqueFile(".holiday.mp4");
        // The modification time goes far back: the model folder must follow creation, not it.
        const QDateTime old = QDateTime::fromString("2019-03-15T12:00:00", Qt::ISODate);
        {
            QFile f(file);
            QVERIFY(f.open(QIODevice::ReadWrite) && f.setFileTime(old, QFileDevice::FileModificationTime));
        }
        VideoFileRecord record;
        record.nick = "untouched";
        QCOMPARE(m_store->GetVideoFile(file, record, false, 1), 0);
        QVERIFY2(record.key.isEmpty() && record.nick == "untouched", "not found, not created");

        QCOMPARE(m_store->GetVideoFile(file, record, true, 1), 0);
        const QFileInfo info(file);
        const QDateTime created = info.birthTime().isValid() ? info.birthTime() : info.lastModified();
        const QString month = created.toString("yyyy-MM");
        QCOMPARE(record.key, Md5Hex(QStringLiteral("content %1").arg(m_nFile).toUtf8()));
        QCOMPARE(record.path, info.absoluteFilePath());
        QCOMPARE(record.name, QStringLiteral("clip%1.holiday").arg(m_nFile));
        QCOMPARE(record.size, info.size());
        QCOMPARE(record.mtime, old.toSecsSinceEpoch());
        QCOMPARE(record.ctime, created.toSecsSinceEpoch());
        QCOMPARE(record.model, QStringLiteral("%1/%2/1_%3.fdb").arg(saveDir(), month, record.key));
        QVERIFY2(QFileInfo(saveDir() + QLatin1Char('/') + month).isDir(), "the month folder is made");
        if (info.birthTime().isValid())
            QVERIFY2(month != "2019-03", "the month comes from the creation time");

        VideoFileRecord again;
        QCOMPARE(m_store->GetVideoFile(file, again, false, 1), 0);
        QCOMPARE(QStringList({again.key, again.model, again.name}),
                 QStringList({record.key, record.model, record.name}));
        QCOMPARE(again.ctime, record.ctime);
    }

    void sameContentIsOneRow()
    {
        const QString first = uniqueFile();
        const QString copy = m_dir.filePath("renamed.avi");
        QVERIFY(QFile::copy(first, copy));
        VideoFileRecord a, b;
        QCOMPARE(m_store->GetVideoFile(first, a, true, 2), 0);
        QCOMPARE(m_store->GetVideoFile(copy, b, true, 2), 0);
        QCOMPARE(b.key, a.key);
        QCOMPARE(b.path, QFileInfo(first).absoluteFilePath());
        qint64 count = 0;
        QCOMPARE(m_store->GetVideoFileCount(2, count), 0);
        QCOMPARE(count, qint64(1));
    }

    void largeFileKeyIsMd5OfSixSamples()
    {
        const int block = 524288, size = 5242880 + 12345;
        QByteArray content(size, Qt::Uninitialized);
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(content.data()), size / 4);
        const QString file = m_dir.filePath("large.mp4");
        QVERIFY(WriteFile(file, content));
        QByteArray samples;
        for (int i = 0; i < 5; ++i)
            samples += content.mid(i * (size / 5), block);
        samples += content.right(block);
        VideoFileRecord record;
        QCOMPARE(m_store->GetVideoFile(file, record, true, 1), 0);
        QCOMPARE(record.key, Md5Hex(samples));
    }

    void fileProblems()
    {
        TestHost::Clear();
        VideoFileRecord record;
        QCOMPARE(m_store->GetVideoFile(m_dir.filePath("none.mp4"), record, true, 1), -2);
        QVERIFY2(TestHost::LogsWith("CDBStore::").isEmpty(), "a missing file is not logged");
        QCOMPARE(m_store->GetVideoFile(m_dir.path(), record, true, 1), -4);
        QCOMPARE(LogsOf("CDBStore::GetVideoFile", "read file failed ").size(), 1);
        QCOMPARE(m_store->GetVideoFile(uniqueFile(), record, true, 3), -3);
        QVERIFY(record.key.isEmpty());
    }

    void updateVideoFile()
    {
        VideoFileRecord record;
        QCOMPARE(m_store->GetVideoFile(uniqueFile(), record, true, 1), 0);
        QCOMPARE(m_store->UpdateVideoFile(record, {{"nick", "beach"}, {"mcount", 17}}), 0);
        VideoFileRecord stored;
        QCOMPARE(m_store->GetVideoFile(record.path, stored, false, 1), 0);
        QCOMPARE(stored.nick, "beach");
        QCOMPARE(stored.mcount, 17);

        TestHost::Clear();
        QCOMPARE(m_store->UpdateVideoFile(record, {}), -2);
        QCOMPARE(m_store->UpdateVideoFile(VideoFileRecord(), {{"nick", QString()}}), -2);
        QCOMPARE(LogsOf("CDBStore::UpdateVideoFile", "parame invalid").size(), 2);
        QCOMPARE(m_store->UpdateVideoFile(record, {{"nosuch", 1}}), -3);
        QCOMPARE(LogsOf("CDBStore::UpdateVideoFile",
                        QStringLiteral("sql failed query UPDATE tb_VideoFile_1 SET nosuch=? WHERE key=? err "
                                       "no such column: nosuch"))
                     .size(),
                 1);
    }

    void listPages()
    {
        QStringList keys; // type 2 holds one row so far
        QList<VideoFileRecord> list;
        QCOMPARE(m_store->GetVideoFileList(list, 2, 1, 10), 0);
        keys << list.value(0).key;
        for (int i = 0; i < 11; ++i) {
            VideoFileRecord record;
            QCOMPARE(m_store->GetVideoFile(uniqueFile(), record, true, 2), 0);
            keys << record.key;
        }
        struct Case
        {
            qint64 page, size;
            int from, rows;
        };
        // Page 0 of size 3 reads "limit 0,10": pages hold at least ten rows.
        for (const Case& c : {Case{0, 3, 0, 10}, Case{2, 3, 10, 2}, Case{1, 12, 0, 12}, Case{3, 10, 0, 0},
                              Case{LLONG_MAX, LLONG_MAX, 0, 0}}) {
            QCOMPARE(m_store->GetVideoFileList(list, 2, c.page, c.size), 0);
            QStringList got;
            for (const VideoFileRecord& r : qAsConst(list))
                got << r.key;
            QCOMPARE(got, keys.mid(c.from, c.rows));
        }
    }
};

QTEST_GUILESS_MAIN(TstCatalogue)
#include "tst_catalogue.moc"
