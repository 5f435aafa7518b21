// The store is one object per process, so the functions run in order: the status table
// (refusals, failed inits, then the init that works), the catalogue, model files.

#include "StoreTestUtil.h"
#include "store/CDBStore.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <numeric>

using namespace StoreTest;
using Call = std::function<int()>;
Q_DECLARE_METATYPE(Call)

class TstStore : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    CDBStore* m_store = CDBStore::GetInstance();
    int m_nFile = 0;

    // A file whose content no other file of the run has.
    QString uniqueFile()
    {
        const QString path = m_dir.filePath(QStringLiteral("clip%1.mp4").arg(++m_nFile));
        return WriteFile(path, QStringLiteral("content %1").arg(m_nFile).toUtf8()) ? path : QString();
    }
    QString freshMode() { return m_dir.filePath(QStringLiteral("2_MODEL%1.fdb").arg(++m_nFile)); }

private Q_SLOTS:
    void initTestCase() { TestHost::Install(); }

    // The store's one log line per refusal. An SQL failure is matched up to the statement
    // text: the reason that follows is SQLite's wording, which a Qt update may change.
    void statusAndLog_data()
    {
        QTest::addColumn<Call>("call");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("log"); // none when empty
        CDBStore* s = m_store;
        const QString file = uniqueFile(), folder = m_dir.path(), closed = freshMode(), open = freshMode();
        const QString garbage = m_dir.filePath("garbage");
        QDir().mkpath(garbage);
        WriteFile(garbage + "/videofile.fdb", QByteArray(65536, '\x5a'));
        s->OpenModelTable(open, 2);
        VideoFileRecord keyed;
        keyed.key = "K";
        keyed.endbtype = 1;
        const auto row = [](const char* name, const Call& call, int status, const char* func, const QString& text) {
            QTest::newRow(name) << call << status << (*func ? "CDBStore::" + (func + (" Error>>> " + text)) : text);
        };
        const auto init = [s](QString dir) -> Call { return [=] { return s->InitDBTable({{"saveDir", dir}}); }; };
        const auto get = [s](const QString& path, int type) -> Call {
            return [=] { VideoFileRecord r; return s->GetVideoFile(path, r, true, type); };
        };
        const QString sql = "sql failed query ";

        row("get before init", get(file, 1), -1, "GetVideoFile", "db not init");
        row("init, empty saveDir", init(""), -1, "InitDBTable", "no save dir");
        // Tests run as root, which ignores file modes: unusable folders are made of things that are no folders.
        row("init under a file", init(file + "/db"), -2, "InitDBTable", "make dir failed " + file + "/db");
        row("init on garbage", init(garbage), -3, "InitDBTable", sql + "create table tb_VideoFile_1 (");
        row("open empty mode", [=] { return s->OpenModelTable("", 2); }, -1, "OpenModelTable", "mode is null");
        row("insert, mode not open", [=] { return s->InsertDataMove(closed, {}); }, -1, "InsertDataMove",
            "mode " + closed + " not exist");
        row("count, mode not open", [=] { qint64 n; return s->GetDataCount(closed, 2, n); }, -1, "GetDataCount",
            "mode " + closed + " not exist");
        row("count, no such table", [=] { qint64 n; return s->GetDataCount(open, 1, n); }, -2, "GetDataCount",
            "dbtype 1 not exist");
        row("same frame twice", [=] { s->InsertDataMove(open, {}); return s->InsertDataMove(open, {}); }, -1,
            "InsertDataMove", sql + "INSERT INTO tb_data_2 (id, time, diff, psnr) VALUES (?,?,?,?) err ");
        // The type-3 statement is kept as it is: SQLite refuses it over the unquoted column "group".
        row("open type 3", [=] { return s->OpenModelTable(closed, 3); }, -1, "OpenModelTable",
            sql + "create table tb_data_3 (");

        const QString dir = m_dir.filePath("a/zrModelData");
        row("init", init(dir + "/../zrModelData"), 0, "", "CDBStore::InitDBTable Info init db ok " + dir +
            "/videofile.fdb");
        row("update, no fields", [=] { return s->UpdateVideoFile(keyed, {}); }, -2, "UpdateVideoFile",
            "parame invalid");
        row("update, unknown column", [=] { return s->UpdateVideoFile(keyed, {{"nosuch", 1}, {"mcount", 2}}); }, -3,
            "UpdateVideoFile", sql + "UPDATE tb_VideoFile_1 SET mcount=?,nosuch=? WHERE key=? err ");
        row("missing file", get(folder + "/none.mp4", 1), -2, "", "");
        row("folder for a file", get(folder, 1), -4, "GetVideoFile", "read file failed " + folder);
        row("get, unknown type", get(file, 3), -3, "GetVideoFile",
            sql + "SELECT * FROM tb_VideoFile_3 where key = ? err ");
        // Page 0 of size 3 reads the first page of ten.
        row("list, unknown type", [=] { QList<VideoFileRecord> l; return s->GetVideoFileList(l, 3, 0, 3); }, -2,
            "GetVideoFileList", sql + "SELECT * FROM tb_VideoFile_3 limit 0,10 err ");
    }

    void statusAndLog()
    {
        QFETCH(Call, call);
        QFETCH(int, status);
        QFETCH(QString, log);
        TestHost::Clear();
        QCOMPARE(call(), status);
        const QStringList lines = StoreLines();
        QCOMPARE(lines.size(), log.isEmpty() ? 0 : 1);
        QCOMPARE(lines.value(0).left(log.size()), log);
        QCOMPARE(lines.value(0).size() > log.size(), log.contains(" sql failed query ")); // SQLite's reason follows
    }

    void lookupCreateUpdate()
    {
        const QString dir = m_dir.filePath("a/zrModelData"), file = uniqueFile(), copy = m_dir.filePath("copy.avi");
        QCOMPARE(m_store->InitDBTable({{"saveDir", m_dir.filePath("other")}}), 0);
        QCOMPARE(m_store->Params().value("saveDir"), dir);
        QVERIFY2(!QFileInfo::exists(m_dir.filePath("other")), "a second init touches nothing");

        // The modification time goes far back: the model folder must follow creation, not it.
        const QDateTime old = QDateTime::fromString("2019-03-15T12:00:00", Qt::ISODate);
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadWrite) && f.setFileTime(old, QFileDevice::FileModificationTime));
        f.close();
        VideoFileRecord record, again;
        QCOMPARE(m_store->GetVideoFile(file, record, false, 1), 0);
        QVERIFY2(record.key.isEmpty(), "not found, not created");
        QCOMPARE(m_store->GetVideoFile(file, record, true, 1), 0);
        const QFileInfo info(file);
        const QDateTime created = info.birthTime().isValid() ? info.birthTime() : info.lastModified();
        const QString month = created.toString("yyyy-MM");
        QCOMPARE(record.key, QString(QCryptographicHash::hash("content " + QByteArray::number(m_nFile),
                                                              QCryptographicHash::Md5).toHex().toUpper()));
        QCOMPARE(QStringList({record.path, record.name}), QStringList({file, QStringLiteral("clip%1").arg(m_nFile)}));
        QCOMPARE(QList<qint64>({record.size, record.mtime, record.ctime}),
                 QList<qint64>({info.size(), old.toSecsSinceEpoch(), created.toSecsSinceEpoch()}));
        QCOMPARE(record.model, QStringLiteral("%1/%2/1_%3.fdb").arg(dir, month, record.key));
        QVERIFY2(QFileInfo(dir + '/' + month).isDir(), "the month folder is made");

        // A renamed copy has the same content, so it is the same row.
        QCOMPARE(m_store->UpdateVideoFile(record, {{"nick", "beach"}, {"mcount", 17}}), 0);
        QVERIFY(QFile::copy(file, copy));
        QCOMPARE(m_store->GetVideoFile(copy, again, true, 1), 0);
        QCOMPARE(QStringList({again.path, again.model, again.nick}), QStringList({file, record.model, "beach"}));
        QCOMPARE(QList<qint64>({again.ctime, again.mcount}), QList<qint64>({record.ctime, 17}));
        QCOMPARE(Query(m_store->CataloguePath(), "SELECT COUNT(*) FROM tb_VideoFile_1"), QStringList{"1"});
    }

    void faceRowsRoundTrip()
    {
        const QString mode = freshMode();
        QCOMPARE(m_store->OpenModelTable(mode, 1), 0);
        QList<FaceDataRow> written, read{FaceDataRow()};
        for (int marks : {0, 1, 3, 0}) {
            FaceDataRow row;
            row.id = written.size() * 5;
            row.time = 1000 + row.id * 40;
            row.marks.resize(marks);
            for (int m = 0; m < marks; ++m)
                std::iota(row.marks[m].begin(), row.marks[m].end(), quint8(row.id * 31 + m * 7));
            QCOMPARE(m_store->InsertDataFace(mode, row), 0);
            written.append(row);
        }
        QCOMPARE(m_store->GetDataFace(mode, read, -50, 10), 0);
        QCOMPARE(read.size(), 1 + 3); // appended to what the list held; frames 0, 5, 10
        for (int i = 0; i < 3; ++i)
            QVERIFY2(read[i + 1].id == written[i].id && read[i + 1].time == written[i].time &&
                         read[i + 1].marks == written[i].marks, qPrintable(QStringLiteral("row %1").arg(i)));
        // A frame without faces is marksize 0 and an empty blob, not NULL.
        QCOMPARE(Query(mode, "SELECT marksize || ',' || typeof(markdata) || ',' || length(markdata) FROM tb_data_1"),
                 (QStringList{"0,blob,0", "1,blob,576", "3,blob,1728", "0,blob,0"}));
        QCOMPARE(m_store->CloseModelTable(mode), 0);
    }

    void moveRowsAndFigures()
    {
        const QString mode = freshMode();
        qint64 maxKey = -1, count = -1;
        QCOMPARE(m_store->OpenModelTable(mode, 2), 0);
        QCOMPARE(m_store->GetDataMaxKey(mode, 2, maxKey), 0);
        QCOMPARE(maxKey, qint64(0));
        MoveDataRow row{7, 280, -12345, {}};
        std::iota(row.psnr.rbegin(), row.psnr.rend(), quint8(0));
        QCOMPARE(m_store->InsertDataMove(mode, row), 0);
        const QByteArray psnr(reinterpret_cast<const char*>(row.psnr.data()), MoveDataRow::kPsnrSize);
        QCOMPARE(Query(mode, "SELECT id || ',' || time || ',' || diff || ',' || hex(psnr) FROM tb_data_2"),
                 QStringList{"7,280,-12345," + psnr.toHex().toUpper()});
        QCOMPARE(m_store->GetDataMaxKey(mode, 2, maxKey), 0);
        QCOMPARE(m_store->GetDataCount(mode, 2, count), 0);
        QCOMPARE(QList<qint64>({maxKey, count}), QList<qint64>({7, 1}));
        QCOMPARE(m_store->CloseModelTable(mode), 0);
        // Closing checkpoints the log: the .fdb alone then holds every row (the host copies it).
        QVERIFY2(!QFileInfo::exists(mode + "-wal"), "no write-ahead log is left beside a closed model");
    }

    // Two works measuring one file store the same rows: those are no error, other values are.
    void sameMoveRowsTwice()
    {
        const QString mode = freshMode();
        QCOMPARE(m_store->OpenModelTable(mode, 2), 0);
        QList<MoveDataRow> rows{{0, 0, 0, {}}, {3, 120, 9, {}}};
        QCOMPARE(m_store->InsertDataMoves(mode, rows), 0);
        rows.append({6, 240, 1, {}});
        QCOMPARE(m_store->InsertDataMoves(mode, rows), 0);
        rows[1].diff = 8;
        QCOMPARE(m_store->InsertDataMoves(mode, rows), -1);
        QCOMPARE(Query(mode, "SELECT group_concat(id || ':' || diff) FROM tb_data_2"), QStringList{"0:0,3:9,6:1"});
        QCOMPARE(m_store->CloseModelTable(mode), 0);
    }
};

QTEST_GUILESS_MAIN(TstStore)
#include "tst_store.moc"
