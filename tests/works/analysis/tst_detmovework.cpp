// Motion detection and split by motion: events, row block and parameters alone, then runs on a clip of known motion.

#include "MoveTestUtil.h"
#include "TestFiles.h"
#include "store/CDBStore.h"
#include "store/StoreTestUtil.h"
#include "works/analysis/CDetMoveWork.h"
#include "works/analysis/CMoveAnalysis.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

// Analyses file every 3 frames, stopping after stopAfter; the failure word and "id@ms=diff ..." samples.
QPair<QString, QString> Analyse(const QString& file, int stopAfter = 1000)
{
    bool ok = true;
    CMoveAnalysis analysis(CMoveWorkBase::Normalise({{"sFile", file}, {"nStep", 1}}, 2, &ok));
    int calls = 0;
    const QString res = analysis.Run([&] { return ++calls <= stopAfter; }, [](int) {});
    QStringList out;
    for (const auto& s : analysis.Samples())
        out << QString("%1@%2=%3").arg(s.id).arg(s.timeMs).arg(s.diff);
    return {res, out.join(' ')};
}

double Seconds(const QString& file)
{
    QProcess probe;
    probe.start("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", file});
    return probe.waitForFinished(30000) ? probe.readAllStandardOutput().trimmed().toDouble() : -1;
}

} // namespace

class TstDetMoveWork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sClip;
    QString m_sStep3; // the clip's samples every 3 frames, measured without the store

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
        QTest::addColumn<QVector<int>>("diffs"); // one sample a second
        QTest::addColumn<int>("level");
        QTest::addColumn<double>("minSec");
        QTest::addColumn<double>("gapSec");
        QTest::addColumn<QVariantList>("expected");
        const QVector<int> two{0, 0, 0, 0, 8, 8, 0, 0, 0, 8};
        QTest::newRow("level 0: all moves") << two << 0 << 0.0 << 1.0 << TestHost::Spans({{0, 9}});
        QTest::newRow("gap joins") << two << 2 << 0.0 << 3.5 << TestHost::Spans({{3, 9}});
        QTest::newRow("gap exactly apart") << two << 2 << 0.0 << 3.0 << TestHost::Spans({{3, 5}, {8, 9}});
        QTest::newRow("short dropped") << two << 2 << 1.5 << 1.0 << TestHost::Spans({{3, 5}});
        QTest::newRow("exact length kept") << two << 2 << 1.0 << 1.0 << TestHost::Spans({{3, 5}, {8, 9}});
        QTest::newRow("moves from the first") << QVector<int>{5, 5, 0} << 2 << 0.0 << 0.0 << TestHost::Spans({{0, 1}});
    }

    void events()
    {
        QFETCH(QVector<int>, diffs);
        QFETCH(int, level);
        QFETCH(double, minSec);
        QFETCH(double, gapSec);
        QFETCH(QVariantList, expected);
        QVector<CMoveAnalysis::Sample> samples;
        for (int i = 0; i < diffs.size(); ++i)
            samples.append({i * 10, i * 1000, diffs.at(i)});
        QCOMPARE(CMoveAnalysis::FindEvents(samples, level, minSec, gapSec), expected);
    }

    void block()
    {
        CMoveAnalysis::Block in{37.5, Q_UINT64_C(0x8000000000000001), 10, {0, 0, 640, 0}, true}, out;
        const CMoveAnalysis::RawBlock raw = CMoveAnalysis::PackBlock(in);
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(raw.data()), 41).toHex(),
                 QByteArray("5a524d31" "0000000000c04240" "0100000000000080" "0a000000" "00000000" "00000000" "80020000"
                            "00000000" "01"));
        QVERIFY(CMoveAnalysis::UnpackBlock(raw, &out) && CMoveAnalysis::PackBlock(out) == raw);
        QVERIFY(!CMoveAnalysis::UnpackBlock(CMoveAnalysis::RawBlock{}, &out));
    }

    // The shared SetParams of both motion works.
    void setParams_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QVariantMap>("params");
        QTest::addColumn<QString>("expected"); // accepted or not, then the normalised map's values in key order
        QTest::newRow("defaults") << 2 << QVariantMap{{"sFile", "a"}} << "true 1 0 2 0 0 0 0 0 a";
        QTest::newRow("clamped") << 2 << QVariantMap{{"nStep", 9}, {"nLevel", -3}, {"nRectW", -5}, {"dMinSec", -1.0}, {"user_x", "u"}}
                                 << "false 1 0 0 0 0 0 0 6  u";
        QTest::newRow("texts") << 2 << QVariantMap{{"nLevel", "7"}, {"dGapSec", "0.5"}, {"nStep", "x"}} << "false 0.5 0 7 0 0 0 0 0 ";
        QTest::newRow("split keys") << 4 << QVariantMap{{"sSaveDir", "/o"}, {"bMergeVideo", true}} << "true true 1 0 2 0 0 0 0 0  /o";
    }

    void setParams()
    {
        QFETCH(int, type);
        QFETCH(QVariantMap, params);
        QFETCH(QString, expected);
        CDetWork* work = m_pLib->CreateWork(type);
        QStringList values{work->SetParams(params) ? "true" : "false"};
        for (const QVariant& v : dynamic_cast<CWorkBase*>(work)->Params())
            values << v.toString();
        QCOMPARE(values.join(' '), expected);
        m_pLib->ReleaseWork(work);
    }

    // Split by motion, before the store exists: the cut files, the CSV and the joined file.
    void cutsListsAndJoins()
    {
        const QString saveDir = m_tmp.filePath("it's out"), folder = saveDir + "/clip";
        QCOMPARE(TestHost::RunWork(4, {{"sFile", m_sClip}, {"sSaveDir", saveDir}, {"nStep", 3}, {"bMergeVideo", true}}),
                 (QVariantMap{{"resMsg", ""}, {"nFrameStep", 10}, {"nSamples", 10}, {"nDecoded", 100}, {"nFindNum", 2},
                              {"lstEvents", TestHost::Spans({{3, 5}, {8, 9}})}, {"sOutDir", folder}, {"sOutFile", folder + "/azr-clip.mp4"}}));
        QCOMPARE(TestFiles::Read(folder + "/clip.csv"),
                 QString("file,start,end,duration\n000003-0.mp4,000003,000005,2\n000008-1.mp4,000008,000009,1\n"));
        QCOMPARE(TestFiles::Read(folder + "/tmp_concat.txt"),
                 QString("file '%1/000003-0.mp4'\nfile '%1/000008-1.mp4'\n").arg(QString(folder).replace("'", "'\\''")));
        const double lengths[3] = {Seconds(folder + "/000003-0.mp4"), Seconds(folder + "/000008-1.mp4"),
                                   Seconds(folder + "/azr-clip.mp4")};
        QVERIFY2(qAbs(lengths[0] - 2) < 0.15 && qAbs(lengths[1] - 1) < 0.15 && qAbs(lengths[2] - 3) < 0.25,
                 qPrintable(QString("%1 %2 %3").arg(lengths[0]).arg(lengths[1]).arg(lengths[2])));
        QCOMPARE(TestHost::Positions().last(), 100);
    }

    // A split that cannot read its input or make its folder leaves no folder behind.
    void splitFailures_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("saveDir");
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("missing input") << "none.mp4" << "out" << "read_input_failed";
        QTest::newRow("no save dir") << "clip.mp4" << "" << "save_dir_failed";
        QTest::newRow("save dir below a file") << "clip.mp4" << "clip.mp4/out" << "save_dir_failed";
    }

    void splitFailures()
    {
        QFETCH(QString, file);
        QFETCH(QString, saveDir);
        QFETCH(QString, resMsg);
        QCOMPARE(TestHost::RunWork(4, {{"sFile", m_tmp.filePath(file)}, {"sSaveDir", saveDir.isEmpty() ? "" : m_tmp.filePath(saveDir)}})
                     .value("resMsg").toString(), resMsg);
        QVERIFY(!QFileInfo::exists(m_tmp.filePath("out")));
    }

    // Before InitModelStore the work answers the picture question, measures and reports, keeping nothing.
    void runs()
    {
        CDetWork* work = m_pLib->CreateWork(2);
        QVariantMap got;
        QCOMPARE(work->QueryWork({{"type", "detVideoImg"}, {"file", m_sClip}}, [&](const QVariantMap& m) { got = m; return true; }), false);
        QCOMPARE(got.value("desImage").value<QImage>().size(), QSize(160, 120));
        m_pLib->ReleaseWork(work);
        QCOMPARE(TestHost::RunWork(2, {{"sFile", m_sClip}, {"nStep", 3}}),
                 (QVariantMap{{"resMsg", ""}, {"nFrameStep", 10}, {"nSamples", 10}, {"nDecoded", 100}, {"nFindNum", 2},
                              {"lstEvents", TestHost::Spans({{3, 5}, {8, 9}})}}));
        QCOMPARE(TestHost::Positions().last(), 100);
        m_sStep3 = Analyse(m_sClip).second;

        // With the store it keeps a row a frame and answers the next run from them.
        QVERIFY(m_pLib->InitModelStore(m_tmp.filePath("store")));
        QVariantMap first = TestHost::RunWork(2, {{"sFile", m_sClip}});
        const QString model = first.take("sModel").toString();
        QCOMPARE(first, (QVariantMap{{"resMsg", ""}, {"nFrameStep", 1}, {"nSamples", 100}, {"nDecoded", 100}, {"nFindNum", 2},
                                     {"lstEvents", TestHost::Spans({{3.1, 4.9}, {8, 9}})}}));
        QCOMPARE(StoreTest::Query(model, "SELECT COUNT(*) || ' ' || MIN(id) || ' ' || MAX(id) || ' ' || SUM(diff) || ' ' || "
                                         "MAX(time) || ' ' || MIN(length(psnr)) FROM tb_data_2"),
                 QStringList{"100 0 99 48 9900 256"});
        QCOMPARE(StoreTest::Query(CDBStore::GetInstance()->CataloguePath(), "SELECT width || 'x' || height || ' ' || duration FROM tb_VideoFile_2"),
                 QStringList{"160x120 10000"});
        const QVariantMap second = TestHost::RunWork(2, {{"sFile", m_sClip}});
        QCOMPARE(second.value("nDecoded").toInt(), 0);
        QCOMPARE(second.value("lstEvents"), first.value("lstEvents"));
    }

    // Each bad input ends its run with one finished map naming it, and no catalogue row.
    void failures_data()
    {
        QTest::addColumn<QString>("input"); // "<none>" missing, "<dir>" a folder, "<audio>" sound only, else the content
        for (const char* input : {"<none>", "<dir>", "", "just text", "<audio>"})
            QTest::newRow(*input ? input : "empty") << QString(input);
    }

    void failures()
    {
        QFETCH(QString, input);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag()), file = dir + "/-in put.mp4";
        QVERIFY(QDir().mkpath(input == "<dir>" ? file : dir));
        if (input == "<audio>")
            QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "sine=d=1", file}), 0);
        else if (!input.startsWith("<"))
            QVERIFY(StoreTest::WriteFile(file, input.toUtf8()));
        // Files that cannot be media are refused before the analysis starts; the others once it decodes nothing.
        const QVariantMap analysed{{"resMsg", "read_input_failed"}, {"nFrameStep", 1}, {"nDecoded", 0}};
        const bool refused = input.isEmpty() || (input.startsWith("<") && input != "<audio>");
        QCOMPARE(TestHost::RunWork(2, {{"sFile", file}}), (refused ? QVariantMap{{"resMsg", "read_input_failed"}} : analysed));
        QCOMPARE(StoreTest::Query(CDBStore::GetInstance()->CataloguePath(), "SELECT COUNT(*) FROM tb_VideoFile_2 WHERE path LIKE '%/bad/%'"),
                 QStringList{"0"});
    }

    // Motion and split on one file at once share its model: the rows both measure are the same,
    // and the first to end does not close the model under the other.
    void twoWorksOneFile()
    {
        // Long enough for both to store rows while the other measures.
        const QString clip = m_tmp.filePath("twice.mp4");
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc=s=96x64:r=25:d=48", clip}), 0);
        QVERIFY(m_pLib->InitModelStore(m_tmp.filePath("store")));
        CDetWork* works[2] = {m_pLib->CreateWork(2), m_pLib->CreateWork(4)};
        works[0]->SetParams({{"sFile", clip}});
        works[1]->SetParams({{"sFile", clip}, {"sSaveDir", m_tmp.filePath("twice")}});
        TestHost::Clear();
        for (CDetWork* work : works)
            work->StartWork();
        QStringList words;
        for (CDetWork* work : works) {
            work->JoinWork(120000);
            m_pLib->ReleaseWork(work);
        }
        for (const QVariant& finished : TestHost::Of(3))
            words << finished.toMap().value("res_data").toMap().value("resMsg").toString();
        QCOMPARE(words, (QStringList{"", ""}));
    }

    // A model that refuses rows fails the run with nothing half-written. Once it takes rows again, a stopped
    // analysis keeps its rows but the newest, and the next run resumes to an uninterrupted run's rows.
    void storeFailsThenResumes()
    {
        const QString clip = m_tmp.filePath("clip.mkv"); // the same pictures, other bytes
        QVERIFY(MakeMoveClip(clip, true));
        VideoFileRecord record;
        QCOMPARE(CDBStore::GetInstance()->GetVideoFile(clip, record, true, 2), 0);
        StoreTest::Query(record.model, "create table tb_data_2 (id bigint primary key,time bigint not null,diff int not null,psnr blob)");
        StoreTest::Query(record.model, "CREATE TRIGGER full BEFORE INSERT ON tb_data_2 WHEN NEW.id >= 30 BEGIN SELECT RAISE(ABORT, 'disk full'); END");
        QCOMPARE(TestHost::RunWork(2, {{"sFile", clip}, {"nStep", 1}}),
                 (QVariantMap{{"resMsg", "store_write_failed"}, {"nFrameStep", 3}, {"nDecoded", 100}, {"sModel", record.model}}));
        QCOMPARE(StoreTest::Query(record.model, "SELECT COUNT(*) FROM tb_data_2"), QStringList{"0"});
        StoreTest::Query(record.model, "DROP TRIGGER full");
        QCOMPARE(Analyse(clip, 40).first, QString("task_stopped"));
        QCOMPARE(StoreTest::Query(record.model, "SELECT COUNT(*) || ' ' || MAX(id) FROM tb_data_2"), QStringList{"13 36"});
        QCOMPARE(Analyse(clip), qMakePair(QString(), m_sStep3));
        QCOMPARE(StoreTest::Query(record.model, "SELECT group_concat(id || '@' || time || '=' || diff, ' ') FROM (SELECT * FROM tb_data_2 ORDER BY id)"),
                 QStringList{m_sStep3});
    }

    // Times come from each frame's own stamp: 6 s at 5 fps, then 6 s at 30 fps with a box from 9.0 s.
    void variableRate()
    {
        const QString clip = m_tmp.filePath("vfr.mp4");
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "color=c=0x406080:s=160x120:r=5:d=6", "-f", "lavfi",
                                              "-i", "color=c=0x406080:s=160x120:r=30:d=6", "-filter_complex",
                                              "[1]drawbox=x=40:y=40:w=40:h=40:color=white:t=fill:enable='gte(t,3)'[b];[0][b]concat=n=2:v=1[v]",
                                              "-map", "[v]", "-fps_mode", "vfr", "-c:v", "libx264", "-pix_fmt", "yuv420p", clip}), 0);
        const QVariantMap result = TestHost::RunWork(2, {{"sFile", clip}});
        QCOMPARE(result.value("lstEvents"), TestHost::Spans({{8.967, 9}}));
        QCOMPARE(StoreTest::Query(CDBStore::GetInstance()->CataloguePath(),
                                  "SELECT duration FROM tb_VideoFile_2 WHERE path LIKE '%/vfr.mp4'"), QStringList{"12000"});
    }
};

QTEST_GUILESS_MAIN(TstDetMoveWork)
#include "tst_detmovework.moc"
