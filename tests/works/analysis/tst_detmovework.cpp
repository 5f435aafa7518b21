// Motion detection: events, row block and parameters on their own, then runs on a
// generated clip whose motion is known, without and with the model store.

#include "MoveClip.h"
#include "TestHost.h"
#include "core/CObjLibImp.h"
#include "store/CDBStore.h"
#include "store/StoreTestUtil.h"
#include "works/analysis/CDetMoveWork.h"
#include "works/analysis/CMoveAnalysis.h"

#include <QTemporaryDir>
#include <QtTest>

using Sample = CMoveAnalysis::Sample;

namespace {

QVector<Sample> EverySecond(const QVector<int>& diffs)
{
    QVector<Sample> out;
    for (int i = 0; i < diffs.size(); ++i)
        out.append(Sample{i * 10, i * 1000, diffs.at(i)});
    return out;
}

QVariantList Spans(std::initializer_list<std::pair<double, double>> list)
{
    QVariantList out;
    for (const auto& p : list)
        out.append(QVariantMap{{"startTs", p.first}, {"endTs", p.second}});
    return out;
}

QString Text(const QVector<Sample>& samples)
{
    QStringList out;
    for (const Sample& s : samples)
        out << QString("%1@%2=%3").arg(s.id).arg(s.timeMs).arg(s.diff);
    return out.join(' ');
}

} // namespace

class TstDetMoveWork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sClip;
    QString m_sStep1; // the clip's samples at 3 frames a sample, measured without the store

    QVariantMap Run(const QVariantMap& params, int type = 2)
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(type);
        work->SetParams(params);
        work->StartWork();
        work->JoinWork(120000);
        m_pLib->ReleaseWork(work);
        const auto finished = TestHost::Of(WorkLibRs_Finished);
        return finished.size() == 1 ? finished.first().toMap().value("res_data").toMap() : QVariantMap{{"runs", finished.size()}};
    }

    static QString Analyse(const QString& file, int step, int stopAfter, CMoveAnalysis** out = nullptr)
    {
        bool ok = true;
        auto* analysis = new CMoveAnalysis(CMoveWorkBase::Normalise({{"sFile", file}, {"nStep", step}}, 2, &ok));
        int calls = 0;
        const QString res = analysis->Run([&] { return ++calls <= stopAfter; }, [](int) {});
        if (out)
            *out = analysis;
        else
            delete analysis;
        return res;
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        m_sClip = m_tmp.filePath("clip.mp4");
        QVERIFY(MakeMoveClip(m_sClip));
    }

    void events_data()
    {
        QTest::addColumn<QVector<int>>("diffs");
        QTest::addColumn<int>("level");
        QTest::addColumn<double>("minSec");
        QTest::addColumn<double>("gapSec");
        QTest::addColumn<QVariantList>("expected");
        const QVector<int> two{0, 0, 0, 0, 8, 8, 0, 0, 0, 8};
        QTest::newRow("two events") << two << 2 << 0.0 << 1.0 << Spans({{3, 5}, {8, 9}});
        QTest::newRow("level above all") << two << 9 << 0.0 << 1.0 << QVariantList();
        QTest::newRow("level 0: all moves") << two << 0 << 0.0 << 1.0 << Spans({{0, 9}});
        QTest::newRow("gap joins") << two << 2 << 0.0 << 3.5 << Spans({{3, 9}});
        QTest::newRow("gap exactly apart") << two << 2 << 0.0 << 3.0 << Spans({{3, 5}, {8, 9}});
        QTest::newRow("short dropped") << two << 2 << 1.5 << 1.0 << Spans({{3, 5}});
        QTest::newRow("exact length kept") << two << 2 << 1.0 << 1.0 << Spans({{3, 5}, {8, 9}});
        QTest::newRow("moves from the first") << QVector<int>{5, 5, 0} << 2 << 0.0 << 0.0 << Spans({{0, 1}});
        QTest::newRow("no samples") << QVector<int>() << 2 << 0.0 << 1.0 << QVariantList();
    }

    void events()
    {
        QFETCH(QVector<int>, diffs);
        QFETCH(int, level);
        QFETCH(double, minSec);
        QFETCH(double, gapSec);
        QFETCH(QVariantList, expected);
        QCOMPARE(CMoveAnalysis::FindEvents(EverySecond(diffs), level, minSec, gapSec), expected);
    }

    void block()
    {
        CMoveAnalysis::Block in, out;
        in.psnr = 37.5;
        in.signature = Q_UINT64_C(0x8000000000000001);
        in.step = 10;
        in.rect[2] = 640;
        in.last = true;
        const CMoveAnalysis::RawBlock raw = CMoveAnalysis::PackBlock(in);
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(raw.data()), 41).toHex(),
                 QByteArray("5a524d31" "0000000000c04240" "0100000000000080" "0a000000" "00000000" "00000000" "80020000"
                            "00000000" "01"));
        QVERIFY(CMoveAnalysis::UnpackBlock(raw, &out));
        QCOMPARE(std::make_tuple(out.psnr, out.signature, out.step, out.rect[2], out.last),
                 std::make_tuple(37.5, in.signature, 10, 640, true));
        QVERIFY(!CMoveAnalysis::UnpackBlock(CMoveAnalysis::RawBlock{}, &out));
    }

    // The shared SetParams body of both motion works, reached through the factory.
    void setParams_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QVariantMap>("params");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QVariantMap>("expected");
        const QVariantMap defaults{{"sFile", ""}, {"nStep", 0}, {"nLevel", 2}, {"nRectX", 0}, {"nRectY", 0},
                                   {"nRectW", 0}, {"nRectH", 0}, {"dMinSec", 0.0}, {"dGapSec", 1.0}};
        QVariantMap clamped = defaults;
        clamped.insert({{"nStep", 6}, {"nLevel", 0}, {"nRectX", 0}, {"dMinSec", 0.0}, {"user_tag", "t"}});
        QVariantMap typed = defaults;
        typed.insert({{"sFile", "a b.mp4"}, {"nLevel", 7}, {"dGapSec", 0.5}});
        QVariantMap split = defaults;
        split.insert({{"sSaveDir", "/out"}, {"bMergeVideo", true}});
        QTest::newRow("defaults") << 2 << QVariantMap{{"sFile", ""}} << true << defaults;
        QTest::newRow("clamped") << 2 << QVariantMap{{"nStep", 9}, {"nLevel", -3}, {"nRectX", -5}, {"dMinSec", -1.0}, {"user_tag", "t"}}
                                 << false << clamped;
        QTest::newRow("texts read as numbers") << 2 << QVariantMap{{"sFile", "a b.mp4"}, {"nLevel", "7"}, {"dGapSec", "0.5"}}
                                               << true << typed;
        QTest::newRow("not a number") << 2 << QVariantMap{{"nLevel", "many"}} << false << defaults;
        QTest::newRow("split keys") << 4 << QVariantMap{{"sSaveDir", "/out"}, {"bMergeVideo", true}} << true << split;
    }

    void setParams()
    {
        QFETCH(int, type);
        QFETCH(QVariantMap, params);
        QFETCH(bool, ok);
        QFETCH(QVariantMap, expected);
        CDetWork* work = m_pLib->CreateWork(type);
        QCOMPARE(work->SetParams(params), ok);
        const QVariantMap got = dynamic_cast<CWorkBase*>(work)->Params();
        QCOMPARE(got.keys(), expected.keys());
        for (const QString& key : expected.keys())
            QVERIFY2(got.value(key) == expected.value(key), qPrintable(key + " " + got.value(key).toString()));
        m_pLib->ReleaseWork(work);
    }

    void query()
    {
        CDetWork* work = m_pLib->CreateWork(2);
        QVariantMap got;
        QCOMPARE(work->QueryWork({{"type", "detVideoImg"}, {"file", m_sClip}}, [&](const QVariantMap& m) { got = m; return true; }), false);
        QCOMPARE(got.value("desImage").value<QImage>().size(), QSize(160, 120));
        QCOMPARE(work->QueryWork({{"type", "detVideoImg"}, {"file", m_tmp.filePath("none.mp4")}}, nullptr), true);
        QCOMPARE(work->QueryWork({{"type", "faces"}, {"file", m_sClip}}, nullptr), false);
        m_pLib->ReleaseWork(work);
    }

    // Before InitModelStore: the work measures and reports, keeping nothing.
    void withoutStore_data()
    {
        QTest::addColumn<int>("step");
        QTest::addColumn<double>("seconds"); // of one sampling step
        QTest::addColumn<int>("samples");
        QTest::newRow("every frame") << 0 << 0.1 << 100;
        QTest::newRow("every 10th frame") << 3 << 1.0 << 10;
    }

    void withoutStore()
    {
        QFETCH(int, step);
        QFETCH(double, seconds);
        QFETCH(int, samples);
        const QVariantMap res = Run({{"sFile", m_sClip}, {"nStep", step}});
        QCOMPARE(res.value("resMsg").toString(), QString());
        QCOMPARE(res.value("nSamples").toInt(), samples);
        QCOMPARE(res.value("nDecoded").toInt(), 100);
        QVERIFY(!res.contains("sModel"));
        const QVariantList events = res.value("lstEvents").toList();
        QCOMPARE(res.value("nFindNum").toInt(), 2);
        const double truth[2][2] = {{3, 5}, {8, 9}};
        for (int i = 0; i < 2; ++i) {
            const QVariantMap e = events.at(i).toMap();
            QVERIFY2(qAbs(e.value("startTs").toDouble() - truth[i][0]) <= seconds + 1e-9
                         && qAbs(e.value("endTs").toDouble() - truth[i][1]) <= seconds + 1e-9,
                     qPrintable(QString("%1-%2").arg(e.value("startTs").toDouble()).arg(e.value("endTs").toDouble())));
        }
        QList<int> positions;
        for (const QVariant& p : TestHost::Of(WorkLibRs_Progress))
            positions.append(p.toMap().value("nPos").toInt());
        QVERIFY(std::is_sorted(positions.begin(), positions.end()) && positions.size() >= 10);
        QCOMPARE(positions.last(), 100);

        CMoveAnalysis* analysis = nullptr;
        QCOMPARE(Analyse(m_sClip, 1, 1000, &analysis), QString());
        m_sStep1 = Text(analysis->Samples());
        delete analysis;
    }

    void storesRowsAndAnswersFromThem()
    {
        QVERIFY(m_pLib->InitModelStore(m_tmp.filePath("store")));
        const QVariantMap first = Run({{"sFile", m_sClip}});
        const QString model = first.value("sModel").toString();
        QVERIFY(QFileInfo(model).isFile());
        QCOMPARE(StoreTest::Query(model, "SELECT COUNT(*) || ' ' || MIN(id) || ' ' || MAX(id) || ' ' || SUM(diff) || ' ' || "
                                         "MAX(time) || ' ' || MIN(length(psnr)) FROM tb_data_2"),
                 QStringList{"100 0 99 48 9900 256"});
        const QString catalogue = CDBStore::GetInstance()->CataloguePath();
        QCOMPARE(StoreTest::Query(catalogue, "SELECT width || 'x' || height || ' ' || duration FROM tb_VideoFile_2"),
                 QStringList{"160x120 10000"});

        const QVariantMap second = Run({{"sFile", m_sClip}});
        QCOMPARE(second.value("nDecoded").toInt(), 0);
        QCOMPARE(second.value("lstEvents"), first.value("lstEvents"));
        QCOMPARE(second.value("nSamples").toInt(), 100);
    }

    // A stopped analysis keeps its rows; the next run resumes after them and ends with
    // the rows of an uninterrupted run.
    void resumesAfterStop()
    {
        const QString clip = m_tmp.filePath("clip.mkv"); // the same pictures, other bytes
        QVERIFY(MakeMoveClip(clip));
        CMoveAnalysis* analysis = nullptr;
        QCOMPARE(Analyse(clip, 1, 40, &analysis), QString("task_stopped"));
        const QString model = analysis->Model();
        delete analysis;
        QCOMPARE(StoreTest::Query(model, "SELECT COUNT(*) || ' ' || MAX(id) FROM tb_data_2"), QStringList{"14 39"});

        QCOMPARE(Analyse(clip, 1, 1000, &analysis), QString());
        QCOMPARE(Text(analysis->Samples()), m_sStep1);
        delete analysis;
        QCOMPARE(StoreTest::Query(model, "SELECT group_concat(id || '@' || time || '=' || diff, ' ') FROM (SELECT * FROM tb_data_2 ORDER BY id)"),
                 QStringList{m_sStep1});
    }
    // Each bad input ends its run with one finished map naming it, and no catalogue row.
    void failures_data()
    {
        QTest::addColumn<QString>("input"); // "<none>", "<dir>", "<audio>", else the content
        QTest::newRow("missing") << "<none>";
        QTest::newRow("folder") << "<dir>";
        QTest::newRow("empty") << "";
        QTest::newRow("not media") << "just text\n";
        QTest::newRow("audio only") << "<audio>";
    }

    void failures()
    {
        QFETCH(QString, input);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag());
        QString file = dir + "/-in put.mp4";
        QVERIFY(QDir().mkpath(dir));
        if (input == "<dir>")
            QVERIFY(QDir().mkpath(file));
        else if (input == "<audio>")
            QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "sine=d=1", file}), 0);
        else if (input != "<none>")
            QVERIFY(StoreTest::WriteFile(file, input.toUtf8()));
        const QVariantMap res = Run({{"sFile", file}});
        QCOMPARE(res.value("resMsg").toString(), QString("read_input_failed"));
        QVERIFY(!res.contains("sModel"));
        QCOMPARE(StoreTest::Query(CDBStore::GetInstance()->CataloguePath(), "SELECT COUNT(*) FROM tb_VideoFile_2 WHERE path LIKE '%/bad/%'"),
                 QStringList{"0"});
    }

    // A model that refuses rows fails the run with nothing half-written; once it takes
    // rows again the next run fills it.
    void storeRefusesRows()
    {
        const QString clip = m_tmp.filePath("sound.mp4");
        QVERIFY(MakeMoveClip(clip, true));
        VideoFileRecord record;
        QCOMPARE(CDBStore::GetInstance()->GetVideoFile(clip, record, true, 2), 0);
        StoreTest::Query(record.model, "create table tb_data_2 (id bigint primary key,time bigint not null,diff int not null,psnr blob)");
        StoreTest::Query(record.model, "CREATE TRIGGER full BEFORE INSERT ON tb_data_2 WHEN NEW.id >= 30 BEGIN SELECT RAISE(ABORT, 'disk full'); END");
        QCOMPARE(Run({{"sFile", clip}}), (QVariantMap{{"resMsg", "store_write_failed"}, {"nFrameStep", 1}, {"nDecoded", 100},
                                                      {"sModel", record.model}}));
        QCOMPARE(StoreTest::Query(record.model, "SELECT COUNT(*) FROM tb_data_2"), QStringList{"0"});
        StoreTest::Query(record.model, "DROP TRIGGER full");
        QCOMPARE(Run({{"sFile", clip}}).value("nDecoded").toInt(), 100);
        QCOMPARE(StoreTest::Query(record.model, "SELECT COUNT(*) FROM tb_data_2"), QStringList{"100"});
    }
};

QTEST_GUILESS_MAIN(TstDetMoveWork)
#include "tst_detmovework.moc"
