// The catalogue as the host sees it: InitModelStore and ListVideoFiles through the
// exported entry point.

#include "StoreTestUtil.h"
#include "base/PubUtils.h"
#include "core/CWorkLib.h"
#include "store/CDBStore.h"
#include "store/Transaction.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace StoreTest;

namespace {

void Ignore(WorkLibRs, const QVariant&) { }

constexpr int kFaceRows = 25;
constexpr int kMoveRows = 3;

QString Key(int type, int i)
{
    return QStringLiteral("K%1_%2").arg(type).arg(i, 2, 10, QLatin1Char('0'));
}

} // namespace

class TstListVideoFiles : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    CWorkLib* m_lib = nullptr;

    QStringList keysOf(const QString& model, qint64 offset, qint64 count, bool& ok, qint64& total)
    {
        QStringList keys;
        ok = m_lib->ListVideoFiles(model, offset, count, &total, [&](const QVariantMap& row) {
            keys.append(row.value("sMd5").toString());
            return true;
        });
        return keys;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_lib = CreateWorkLib(&Ignore, QVariantMap{{"appData", m_dir.path()}});
        QVERIFY(m_lib);
        TestHost::Install(QVariantMap{{"appData", m_dir.path()}});
        const QString host = m_dir.filePath("host/data");
        QVERIFY(m_lib->InitModelStore(host));
        QCOMPARE(WorkBaseData::PubUtils::GetSaveDir(), host);
        QCOMPARE(CDBStore::GetInstance()->CataloguePath(), host + "/zrModelData/videofile.fdb");

        // Rows with chosen values, loaded straight into the tables.
        EasyQtSql::Transaction t(CDBStore::GetInstance()->CatalogueDatabase());
        for (int type : {1, 2}) {
            EasyQtSql::InsertQuery insert = t.insertInto(
                QStringLiteral("tb_VideoFile_%1 (key, path, name, ctime, mtime, size, width, height, duration, ver, "
                               "endbtype, model, enstate, mcount, nick, jsext)")
                    .arg(type));
            for (int i = 0; i < (type == 1 ? kFaceRows : kMoveRows); ++i)
                insert.values(Key(type, i), QStringLiteral("/v/%1.mp4").arg(i), QString::number(i), 1700000000 + i, 0,
                              qint64(5000000000) + i, 1920, 1080, 3600000 + i, 0, type,
                              QStringLiteral("/m/%1.fdb").arg(i), i % 3, i * 2, QStringLiteral("nick%1").arg(i),
                              QStringLiteral("{\"i\":%1}").arg(i));
            insert.exec();
        }
        t.commit();
    }

    void rowMapHasThirteenTypedKeys()
    {
        QVariantMap row;
        QVERIFY(m_lib->ListVideoFiles("face", 2, 1, nullptr, [&](const QVariantMap& r) {
            row = r;
            return true;
        }));
        const QVariantMap expected{
            {"sMd5", Key(1, 2)},
            {"sPath", "/v/2.mp4"},
            {"sName", "2"},
            {"nCTime", qint64(1700000002)},
            {"nWidth", qint64(1920)},
            {"nHeight", qint64(1080)},
            {"nDuration", qint64(3600002)},
            {"nSize", qint64(5000000002)},
            {"sModel", "/m/2.fdb"},
            {"enState", true},
            {"nMCount", qint64(4)},
            {"sNick", "nick2"},
            {"sjsExt", "{\"i\":2}"},
        };
        QCOMPARE(row.keys(), expected.keys());
        for (auto it = expected.constBegin(); it != expected.constEnd(); ++it) {
            QVERIFY2(row.value(it.key()).userType() == it.value().userType(),
                     qPrintable(it.key() + " holds " + row.value(it.key()).typeName()));
            QCOMPARE(row.value(it.key()), it.value());
        }
    }

    void kindIsChosenByExactName_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<qint64>("total");
        QTest::addColumn<bool>("result");
        QTest::addColumn<int>("rows");
        QTest::newRow("face") << "face" << qint64(kFaceRows) << true << 10;
        QTest::newRow("move") << "move" << qint64(kMoveRows) << true << kMoveRows;
        QTest::newRow("Face is kind 0") << "Face" << qint64(0) << false << 0;
        QTest::newRow("empty is kind 0") << QString() << qint64(0) << false << 0;
    }

    void kindIsChosenByExactName()
    {
        QFETCH(QString, model);
        QFETCH(qint64, total);
        QFETCH(bool, result);
        QFETCH(int, rows);
        TestHost::Clear();
        qint64 got = -1;
        bool ok = !result;
        QCOMPARE(keysOf(model, 0, 10, ok, got).size(), rows);
        QCOMPARE(ok, result);
        QCOMPARE(got, total);
        if (!result)
            QCOMPARE(LogsOf("CDBStore::GetVideoFileList", "SELECT * FROM tb_VideoFile_0 limit 0,10").size(), 1);
    }

    void rowsOffsetAndCount_data()
    {
        QTest::addColumn<qint64>("offset");
        QTest::addColumn<qint64>("count");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("rows");
        QTest::newRow("first three") << qint64(0) << qint64(3) << 0 << 3;
        QTest::newRow("inside the first page") << qint64(5) << qint64(3) << 5 << 3;
        QTest::newRow("over a page end") << qint64(8) << qint64(5) << 8 << 5;
        QTest::newRow("count above ten") << qint64(12) << qint64(11) << 12 << 11;
        QTest::newRow("up to the end") << qint64(20) << qint64(10) << 20 << 5;
        QTest::newRow("past the end") << qint64(30) << qint64(5) << 0 << 0;
        QTest::newRow("negative offset") << qint64(-4) << qint64(2) << 0 << 2;
        QTest::newRow("nothing wanted") << qint64(3) << qint64(0) << 0 << 0;
        QTest::newRow("everything") << qint64(0) << qint64(LLONG_MAX) << 0 << kFaceRows;
        QTest::newRow("far offset, huge count") << qint64(3000000000LL) << qint64(5000000000LL) << 0 << 0;
    }

    void rowsOffsetAndCount()
    {
        QFETCH(qint64, offset);
        QFETCH(qint64, count);
        QFETCH(int, from);
        QFETCH(int, rows);
        bool ok = false;
        qint64 total = 0;
        QStringList expected;
        for (int i = from; i < from + rows; ++i)
            expected << Key(1, i);
        QCOMPARE(keysOf("face", offset, count, ok, total), expected);
        QVERIFY(ok);
        QCOMPARE(total, qint64(kFaceRows));
    }

    void visitorStopsEarly()
    {
        int calls = 0;
        QVERIFY2(m_lib->ListVideoFiles("face", 0, 20, nullptr,
                                       [&](const QVariantMap&) {
                                           ++calls;
                                           return false;
                                       }),
                 "stopping early is not a failure");
        QCOMPARE(calls, 1);
        QVERIFY(m_lib->ListVideoFiles("face", 0, 20, nullptr, nullptr));
    }
};

QTEST_GUILESS_MAIN(TstListVideoFiles)
#include "tst_listvideofiles.moc"
