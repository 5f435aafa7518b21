// Face work: the mark layout through the store, then runs of the real engine on a clip with two known faces.

#include "TestFiles.h"
#include "store/CDBStore.h"
#include "store/StoreTestUtil.h"
#include "works/analysis/CDetFaceWork.h"
#include "works/analysis/CFaceAnalysis.h"
#include "works/analysis/CFaceEngine.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

const char kGrace[] = "/usr/share/doc/facedetect/examples/grace_hopper_512x512.jpg";
const char kMessi[] = "/usr/share/doc/opencv-doc/examples/data/messi5.jpg";

bool Ffmpeg(const QStringList& args)
{
    return QProcess::execute("ffmpeg", QStringList{"-v", "error", "-y"} + args) == 0;
}

// The rows of a model, one text a frame: id, time, marks (person index and box of each).
QString Rows(const QString& model)
{
    QList<FaceDataRow> rows;
    CDBStore* store = CDBStore::GetInstance();
    store->OpenModelTable(model, 1);
    store->GetDataFace(model, rows, 0, 1 << 30);
    store->CloseModelTable(model);
    QStringList out;
    for (const FaceDataRow& row : rows) {
        QString text = QString("%1@%2").arg(row.id).arg(row.time);
        for (const FaceDataRow::Mark& raw : row.marks) {
            CFaceMark mark;
            CFaceMark::Unpack(raw, &mark);
            text += QString(":%1/%2,%3,%4").arg(mark.person).arg(mark.box[0]).arg(mark.box[1]).arg(mark.box[2]);
        }
        out << text;
    }
    return out.join(' ');
}

} // namespace

class TstDetFaceWork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    QString m_sClip, m_sPeople;
    QVariantMap m_params;

    QString Path(const QString& name) const { return m_tmp.filePath(name); }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        // Grace shown from 2 s to 4 s, Messi (his face cut from a match picture) from 5 s to 6 s, at 5 fps.
        QVERIFY(Ffmpeg({"-i", kMessi, "-vf", "crop=75:75:210:75,scale=160:160", Path("messi.png")}));
        QVERIFY(Ffmpeg({"-f", "lavfi", "-i", "color=c=0x406080:s=320x240:r=5:d=7", "-i", kGrace, "-i", Path("messi.png"),
                        "-filter_complex", "[1]scale=160:160[g];[0][g]overlay=20:40:enable='between(t,2,3.9)'[a];"
                                           "[a][2]overlay=140:40:enable='between(t,5,5.9)'",
                        "-c:v", "libx264", "-pix_fmt", "yuv420p", Path("clip.mp4")}));
        m_sClip = Path("clip.mp4");
        // The known people's pictures: mirrored and of other sizes than in the clip.
        m_sPeople = Path("people dir");
        QVERIFY(QDir().mkpath(m_sPeople + "/Grace Hopper") && QDir().mkpath(m_sPeople + "/Messi") && QDir().mkpath(m_sPeople + "/Nobody"));
        QVERIFY(Ffmpeg({"-i", kGrace, "-vf", "hflip,scale=300:300", m_sPeople + "/Grace Hopper/g.jpg"}));
        QVERIFY(Ffmpeg({"-i", Path("messi.png"), "-vf", "hflip,scale=240:240", m_sPeople + "/Messi/m.png"}));
        QVERIFY(StoreTest::WriteFile(m_sPeople + "/Nobody/n.jpg", "not a picture"));
        QVERIFY(CDBStore::GetInstance()->InitDBTable({{"saveDir", Path("store")}}) == 0);
        m_params = {{"sFile", m_sClip}, {"nMinFace", 50}, {"sPeople", m_sPeople}};
    }

    // 0, 1 and many marks go through the model and come back byte for byte.
    void markLayout_data()
    {
        QTest::addColumn<int>("marks");
        QTest::newRow("none") << 0;
        QTest::newRow("one") << 1;
        QTest::newRow("many") << 5;
    }

    void markLayout()
    {
        QFETCH(int, marks);
        const QString model = Path(QString("marks%1.fdb").arg(marks));
        CDBStore* store = CDBStore::GetInstance();
        QCOMPARE(store->OpenModelTable(model, 1), 0);
        FaceDataRow row;
        row.id = 7;
        row.time = 280;
        for (int i = 0; i < marks; ++i) {
            CFaceMark mark;
            mark.descriptor.fill(-0.25f * i);
            mark.box[0] = i, mark.box[3] = 100000;
            mark.points[9] = -3;
            mark.score = 1.5f;
            mark.person = i;
            mark.step = 3;
            mark.minFace = 80;
            row.marks.append(CFaceMark::Pack(mark));
        }
        QCOMPARE(store->InsertDataFaces(model, {row}), 0);
        QList<FaceDataRow> back;
        QCOMPARE(store->GetDataFace(model, back, -5, 7), 0);
        QCOMPARE(back.size(), 1);
        QCOMPARE(back.first().marks, row.marks);
        QCOMPARE(StoreTest::Query(model, "SELECT marksize || ' ' || length(markdata) FROM tb_data_1"),
                 QStringList{QString("%1 %2").arg(marks).arg(576 * marks)});
        if (marks > 1) {
            const FaceDataRow::Mark& raw = back.first().marks.at(1);
            QCOMPARE(QByteArray(reinterpret_cast<const char*>(raw.data()) + 508, 68).toHex(),
                     QByteArray("000080be" "01000000" "00000000" "00000000" "a0860100" "000000000000000000000000000000000000fdff"
                                "0000c03f" "01000000" "03000000" "50000000" "0000000000000000000000" "01"));
            CFaceMark out;
            QVERIFY(CFaceMark::Unpack(raw, &out) && CFaceMark::Pack(out) == raw);
            QVERIFY(!CFaceMark::Unpack(FaceDataRow::Mark{}, &out));
        }
        store->CloseModelTable(model);
    }

    // Both faces are found, grouped as two people, named from the mirrored, rescaled pictures; one picture each.
    void findsAndNames()
    {
        const QString saveDir = Path("faces out");
        QVariantMap params = m_params;
        params.insert("sSaveDir", saveDir);
        QVariantMap result = TestHost::RunWork(3, params);
        const QString model = result.take("sModel").toString();
        QVariantList people = result.take("lstPeople").toList();
        QCOMPARE(result, (QVariantMap{{"resMsg", ""}, {"nFrameStep", 1}, {"nDecoded", 35}, {"nSamples", 35}, {"nFaces", 15}, {"nPeople", 2}}));
        QCOMPARE(people.size(), 2);
        const QString pictures[2] = {saveDir + "/clip-Grace Hopper.jpg", saveDir + "/clip-Messi.jpg"};
        for (int i = 0; i < 2; ++i) {
            QVariantMap person = people.at(i).toMap();
            QVERIFY2(person.take("dNameDist").toDouble() < 0.5, qPrintable(QString::number(i)));
            QCOMPARE(person.take("sPicture").toString(), pictures[i]);
            QVERIFY(QImage(pictures[i]).width() > 60);
            people[i] = person;
        }
        QCOMPARE(people, (QVariantList{
            QVariantMap{{"nPerson", 0}, {"sName", "Grace Hopper"}, {"nFaces", 10}, {"lstStretches", TestHost::Spans({{2, 3.8}})}},
            QVariantMap{{"nPerson", 1}, {"sName", "Messi"}, {"nFaces", 5}, {"lstStretches", TestHost::Spans({{5, 5.8}})}}}));
        QCOMPARE(StoreTest::Query(CDBStore::GetInstance()->CataloguePath(), "SELECT width || 'x' || height || ' ' || duration FROM tb_VideoFile_1"),
                 QStringList{"320x240 7000"});
        QCOMPARE(StoreTest::Query(model, "SELECT COUNT(*) || ' ' || SUM(marksize) FROM tb_data_1"), QStringList{"35 15"});

        // A stored rerun decodes nothing and tells the same.
        QVariantMap again = TestHost::RunWork(3, m_params);
        QCOMPARE(again.value("nDecoded").toInt(), 0);
        QCOMPARE(again.value("nFaces").toInt(), 15);
        QVariantList againPeople = again.value("lstPeople").toList();
        for (QVariant& p : againPeople) {
            QVariantMap m = p.toMap();
            m.remove("dNameDist");
            p = m;
        }
        QCOMPARE(againPeople, people);
    }

    // A stopped analysis keeps its rows; the resumed one ends with an uninterrupted run's rows.
    void resumes()
    {
        const QString copy = Path("clip.mkv"); // the same frames, other bytes
        QVERIFY(Ffmpeg({"-i", m_sClip, "-c", "copy", copy}));
        bool ok = true;
        QString failure;
        const std::shared_ptr<CFaceEngine> engine = CFaceEngine::Get(CDetFaceWork::FacesFolder({}), &failure);
        QVERIFY(engine);
        const QVariantMap params = CSampledWorkBase::Normalise({{"sFile", copy}, {"nMinFace", 50}}, 3, &ok);
        int calls = 0;
        CFaceAnalysis stopped(params, engine);
        QCOMPARE(stopped.Run([&] { return ++calls <= 15; }, [](int) {}), QString("task_stopped"));
        QCOMPARE(StoreTest::Query(stopped.Model(), "SELECT COUNT(*) || ' ' || MAX(id) FROM tb_data_1"), QStringList{"15 14"});
        CFaceAnalysis resumed(params, engine);
        QCOMPARE(resumed.Run([] { return true; }, [](int) {}), QString());
        QCOMPARE(resumed.Decoded(), 35);
        QCOMPARE(resumed.Faces().size(), 15);
        VideoFileRecord first;
        QCOMPARE(CDBStore::GetInstance()->GetVideoFile(m_sClip, first, false, 1), 0);
        QCOMPARE(Rows(resumed.Model()), Rows(first.model));
    }

    // findFace answers from the stored rows; detFaceImg gives boxes and descriptors.
    void questions()
    {
        CDetWork* work = WorkBaseData::CData::GetInstance()->GetWorkLib()->CreateWork(3);
        QVariantMap got;
        const auto ask = [&](const QVariantMap& args) {
            got.clear();
            return work->QueryWork(args, [&](const QVariantMap& m) { got = m; return true; });
        };
        QVERIFY(ask({{"type", "findFace"}, {"file", m_sClip}, {"image", m_sPeople + "/Messi/m.png"}}));
        QCOMPARE(got.value("lstStretches"), TestHost::Spans({{5, 5.8}}));
        QCOMPARE(got.value("lstTimes").toList().size(), 5);
        QVERIFY(ask({{"type", "detFaceImg"}, {"file", kGrace}}));
        QCOMPARE(got.value("nFaces").toInt(), 1);
        const QVariantMap face = got.value("lstFaces").toList().first().toMap();
        QCOMPARE(face.value("lstDesc").toList().size(), 128);
        QVERIFY(face.value("nW").toInt() > 150);
        QVERIFY(ask({{"type", "findFace"}, {"file", m_sClip}, {"lstDesc", face.value("lstDesc")}}));
        QCOMPARE(got.value("lstStretches"), TestHost::Spans({{2, 3.8}}));
        // A face that is not in the file, a picture without a face, a file never analysed.
        QVERIFY(ask({{"type", "findFace"}, {"file", m_sClip}, {"image", Path("messi.png")}, {"dMaxDist", 0.05}}));
        QCOMPARE(got.value("lstTimes").toList(), QVariantList());
        QVERIFY(!ask({{"type", "findFace"}, {"file", m_sClip}, {"image", "/usr/share/doc/opencv-doc/examples/data/fruits.jpg"}}));
        QCOMPARE(got.value("resMsg").toString(), QString("face_not_found"));
        QVERIFY(!ask({{"type", "findFace"}, {"file", kGrace}, {"image", kGrace}}));
        QCOMPARE(got.value("resMsg").toString(), QString("face_not_analysed"));
        QVERIFY(!ask({{"type", "other"}}));
        WorkBaseData::CData::GetInstance()->GetWorkLib()->ReleaseWork(work);
    }

    // Each bad input ends with one finished map naming it, no catalogue row, no rows and no picture.
    void failures_data()
    {
        QTest::addColumn<QString>("input"); // "<none>" missing, "<audio>" sound only, "<model>" broken model, "<full>" store refuses rows
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("missing") << "<none>" << "read_input_failed";
        QTest::newRow("empty") << "" << "read_input_failed";
        QTest::newRow("not media") << "just text" << "read_input_failed";
        QTest::newRow("audio only") << "<audio>" << "read_input_failed";
        QTest::newRow("broken model") << "<model>" << "face_model_failed";
        QTest::newRow("store refuses") << "<full>" << "store_write_failed";
    }

    void failures()
    {
        QFETCH(QString, input);
        QFETCH(QString, resMsg);
        const QString dir = Path(QString("bad/") + QTest::currentDataTag()), file = dir + "/-in put.mp4", out = dir + "/out";
        QVERIFY(QDir().mkpath(dir));
        QVariantMap params = m_params;
        params.insert("sFile", file);
        params.insert("sSaveDir", out);
        if (input == "<audio>") {
            QVERIFY(Ffmpeg({"-f", "lavfi", "-i", "sine=d=1", file}));
        } else if (input == "<model>" || input == "<full>") {
            QVERIFY(Ffmpeg({"-i", m_sClip, "-t", "3", file}));
        } else if (!input.startsWith("<")) {
            QVERIFY(StoreTest::WriteFile(file, input.toUtf8()));
        }
        if (input == "<model>") {
            QVERIFY(QDir().mkpath(dir + "/models"));
            QVERIFY(StoreTest::WriteFile(dir + "/models/" + CFaceEngine::kShapeModel, "broken"));
            QVERIFY(StoreTest::WriteFile(dir + "/models/" + CFaceEngine::kDescriptorModel, "broken"));
            params.insert("sWorkPath", dir + "/models");
        }
        VideoFileRecord record;
        if (input == "<full>") {
            QCOMPARE(CDBStore::GetInstance()->GetVideoFile(file, record, true, 1), 0);
            StoreTest::Query(record.model, "create table tb_data_1 (id bigint primary key,time bigint not null,marksize bigint not null,markdata blob)");
            StoreTest::Query(record.model, "CREATE TRIGGER full BEFORE INSERT ON tb_data_1 BEGIN SELECT RAISE(ABORT, 'disk full'); END");
        }
        const QVariantMap finished = TestHost::RunFinished(3, params);
        QCOMPARE(finished.value("res_data").toMap().value("resMsg").toString(), resMsg);
        QCOMPARE(StoreTest::Query(CDBStore::GetInstance()->CataloguePath(),
                                  "SELECT COUNT(*) FROM tb_VideoFile_1 WHERE path LIKE '%/bad/%'"), QStringList{input == "<full>" ? "1" : "0"});
        if (input == "<full>")
            QCOMPARE(StoreTest::Query(record.model, "SELECT COUNT(*) FROM tb_data_1"), QStringList{"0"});
        QCOMPARE(QDir(out).entryList(QDir::Files), QStringList());
    }
};

QTEST_GUILESS_MAIN(TstDetFaceWork)
#include "tst_detfacework.moc"
