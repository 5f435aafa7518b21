// The frame pipeline's works end to end on generated clips: beautify, style, the real
// upscaler and the re-encoding pass, their progress, outputs and failures.

#include "TestHost.h"
#include "base/PubUtils.h"
#include "core/CObjLibImp.h"
#include "works/filter/CFrameSeqWork.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

using WorkBaseData::PubUtils;

namespace {

bool Ffmpeg(const QStringList& args)
{
    QProcess ff;
    ff.start("ffmpeg", QStringList{"-v", "error", "-y"} + args);
    return ff.waitForFinished(60000) && ff.exitCode() == 0;
}

bool MakeClip(const QString& path, double seconds, bool sound)
{
    QStringList args{"-f", "lavfi", "-i", "testsrc=size=160x120:rate=15:duration=" + QString::number(seconds)};
    if (sound)
        args << "-f" << "lavfi" << "-i" << "sine=duration=" + QString::number(seconds) << "-c:a" << "aac";
    return Ffmpeg(args << "-pix_fmt" << "yuv420p" << path);
}

// "video,audio" for the streams of a file.
QString Streams(const QString& path)
{
    QProcess probe;
    probe.start("ffprobe", {"-v", "error", "-show_entries", "stream=codec_type", "-of", "csv=p=0", path});
    probe.waitForFinished(30000);
    return QString::fromUtf8(probe.readAllStandardOutput()).trimmed().split('\n').join(',');
}

cv::Mat FirstFrame(const QString& path)
{
    cv::VideoCapture capture(path.toStdString());
    cv::Mat frame;
    capture.read(frame);
    return frame;
}

} // namespace

class TstFilterWorks : public QObject
{
    Q_OBJECT
    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sClip, m_sMute, m_sShort, m_sPic;
    const QString m_sTools = QCoreApplication::applicationDirPath() + "/../worktools";

    struct Run { QVariantMap params, result; QList<int> progress; int finished = 0; };

    Run Start(int type, const QVariantMap& params)
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(type);
        work->SetParams(params);
        work->StartWork();
        work->JoinWork(300000);
        m_pLib->ReleaseWork(work);
        const auto finished = TestHost::Of(WorkLibRs_Finished);
        const QVariantMap last = finished.isEmpty() ? QVariantMap() : finished.last().toMap();
        Run run{last.value("user_data").toMap(), last.value("res_data").toMap(), {}, finished.size()};
        for (const QVariant& p : TestHost::Of(WorkLibRs_Progress))
            run.progress.append(p.toMap().value("nPos").toInt());
        return run;
    }

    QVariantMap Params(int type, const QString& file, const QString& saveDir, bool picture = false)
    {
        QVariantMap p{{"sFile", file}, {"sSaveDir", saveDir}, {"bPicFlt", picture}};
        if (type == 6)
            p.insert({{"nDegree", 3}, {"nDetails", 2}, {"nOpacity", 5}, {"nWhite", 2}});
        if (type == 7)
            p.insert("mapStyle", QVariantMap{{"sModel", m_sTools + "/styles/sepia.onnx"}});
        if (type == 8)
            p.insert({{"sWorkPath", m_sTools + "/upscale"}, {"sWorkExc", "waifu2x"}});
        return p;
    }

    static QStringList Entries(const QString& dir)
    {
        return QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        m_sClip = m_tmp.filePath("clip.mp4");
        m_sMute = m_tmp.filePath("mute.mp4");
        m_sShort = m_tmp.filePath("short.mp4");
        m_sPic = m_tmp.filePath("pic.png");
        QVERIFY(MakeClip(m_sClip, 1, true) && MakeClip(m_sMute, 1, false) && MakeClip(m_sShort, 0.14, true));
        QVERIFY(Ffmpeg({"-f", "lavfi", "-i", "testsrc=size=80x60", "-frames:v", "1", m_sPic}));
    }

    void frameProgress()
    {
        QCOMPARE(CFrameSeqWork::FrameProgress(1, 132), -1); // off the n / 66 step
        QCOMPARE(CFrameSeqWork::FrameProgress(2, 132), 12);
        QCOMPARE(CFrameSeqWork::FrameProgress(6500, 6600), 76); // the last one stays below 77
    }

    void frameListInOrder()
    {
        const QString dir = m_tmp.filePath("list");
        QDir().mkpath(dir + "/sub");
        for (const char* name : {"00000010.png", "00000002.png", "00000001.png", "9.png", "10.png"})
            QFile(dir + "/" + name).open(QIODevice::WriteOnly);
        QCOMPARE(PubUtils::GetFileList(dir, 0), (QStringList{"00000001.png", "00000002.png", "00000010.png", "10.png", "9.png"}));
        QCOMPARE(PubUtils::GetFileList(dir, 1).first(), dir + "/00000001.png");
    }

    // Under 66 frames progress comes on every frame: 15 frames, then the upscaler's 3.
    void videoMode_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("model"); // style only; a missing one fails every frame
        QTest::addColumn<QList<int>>("frames");
        QTest::addColumn<int>("width");
        const QList<int> fifteen{11, 15, 19, 24, 28, 33, 37, 41, 46, 50, 55, 59, 63, 68, 72};
        QTest::newRow("beautify") << 6 << "" << fifteen << 160;
        QTest::newRow("style") << 7 << "sepia.onnx" << fifteen << 160;
        QTest::newRow("failed frames keep their content") << 7 << "none.onnx" << fifteen << 160;
        QTest::newRow("upscale") << 8 << "" << QList<int>{11, 33, 55} << 320;
    }

    void videoMode()
    {
        QFETCH(int, type);
        QFETCH(QString, model);
        QFETCH(QList<int>, frames);
        QFETCH(int, width);
        const QString saveDir = m_tmp.filePath(QTest::currentDataTag()), clip = type == 8 ? m_sShort : m_sClip;
        QVariantMap params = Params(type, clip, saveDir);
        if (type == 7)
            params.insert("mapStyle", QVariantMap{{"sModel", m_sTools + "/styles/" + model}});
        const Run run = Start(type, params);
        const QString out = saveDir + "/" + QFileInfo(clip).fileName();
        QCOMPARE(run.result, (QVariantMap{{"resMsg", ""}, {"sOutFile", out}}));
        QCOMPARE(run.progress, (QList<int>{1, 11} + frames + QList<int>{79, 89, 94, 99}));
        QCOMPARE(Entries(saveDir), QStringList{QFileInfo(clip).fileName()});
        QCOMPARE(Streams(out), QString("video,audio"));
        const cv::Mat first = FirstFrame(out);
        QCOMPARE(first.cols, width);
        const cv::Scalar in = cv::mean(FirstFrame(clip)), mean = cv::mean(first);
        if (model == "sepia.onnx") // red above green above blue
            QVERIFY(mean[2] > mean[1] + 10 && mean[1] > mean[0] + 10);
        else if (type != 8)
            QVERIFY(std::abs(in[1] - mean[1]) < 12);
    }

    void pictureMode_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("width");
        QTest::newRow("beautify jpg") << 6 << "photo.jpg" << 80;
        QTest::newRow("style, odd name") << 7 << "-it's \"odd\" ü.png" << 80;
        QTest::newRow("upscale, odd name") << 8 << "-a b ü.png" << 160;
    }

    void pictureMode()
    {
        QFETCH(int, type);
        QFETCH(QString, name);
        QFETCH(int, width);
        const QString dir = m_tmp.filePath(QString("pic/") + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir + "/out") && QFile::copy(m_sPic, dir + "/" + name));
        QVERIFY(QFile::copy(m_sPic, dir + "/out/" + name)); // taken: the output gets "_1"
        const QFileInfo info(name);
        const QString out = dir + "/out/" + info.completeBaseName() + "_1." + info.suffix();
        const Run run = Start(type, Params(type, dir + "/" + name, dir + "/out", true));
        QCOMPARE(run.result, (QVariantMap{{"resMsg", ""}, {"sOutFile", out}}));
        QCOMPARE(cv::imread(out.toStdString()).cols, width);
        QVERIFY(run.progress.isEmpty());
    }

    // The command-line host: shipped networks by name, and type 10's silent failure as exit status 1.
    void zrworkCommands()
    {
        const QString zrwork = QCoreApplication::applicationDirPath() + "/zrwork", dir = m_tmp.filePath("cli");
        QProcess p;
        p.start(zrwork, {"styles"});
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(QString(p.readAll()).count(".onnx\n"), 3);
        QCOMPARE(QProcess::execute(zrwork, {"style", m_sPic, "--save-dir", dir, "--model", "cartoon"}), 0);
        QVERIFY(QFileInfo(dir + "/pic.png").size() > 0);
        QCOMPARE(QProcess::execute(zrwork, {"reencode", m_tmp.filePath("none.mp4"), "--save-dir", dir}), 1);
    }

    void reencode()
    {
        const QString saveDir = m_tmp.filePath("reencode");
        const QVariantMap params{{"sFile", m_sClip}, {"sSaveDir", saveDir}, {"isVideo", false}, {"nDeMode", 3}};
        const Run run = Start(10, params);
        QCOMPARE(run.result, (QVariantMap{{"resMsg", ""}}));
        QCOMPARE(run.params.value("sOutFile").toString(), saveDir + "/clip.mp4");
        QCOMPARE(run.progress, (QList<int>{1, 11, 21, 26, 31}));
        QCOMPARE(Entries(saveDir), QStringList{"clip.mp4"});
        QCOMPARE(Streams(saveDir + "/clip.mp4"), QString("video,audio"));
    }

    void detVideoImg()
    {
        CDetWork* work = m_pLib->CreateWork(10);
        QVariantMap got;
        const auto reply = [&got](const QVariantMap& m) { got = m; return true; };
        QCOMPARE(work->QueryWork({{"type", "detVideoImg"}, {"file", m_sClip}}, reply), false);
        QCOMPARE(got.value("desImage").value<QImage>().size(), QSize(160, 120));
        got.clear();
        QCOMPARE(work->QueryWork({{"type", "detVideoImg"}, {"file", m_tmp.filePath("none.mp4")}}, reply), true);
        QVERIFY(got.isEmpty());
        m_pLib->ReleaseWork(work);
    }

    // One finished map each, no output left in the save folder.
    void failures_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("input"); // "<none>" missing, "<mute>" the silent clip, else the content
        QTest::addColumn<bool>("picture");
        QTest::addColumn<QString>("saveDir");
        QTest::addColumn<QString>("resMsg");
        QTest::addColumn<int>("lastPos"); // -1: no progress at all
        QTest::newRow("6 missing") << 6 << "<none>" << false << "out" << "videotopic_failed" << 1;
        QTest::newRow("7 empty") << 7 << "" << false << "out" << "videotopic_failed" << 1;
        QTest::newRow("8 not media") << 8 << "text\n" << false << "out" << "videotopic_failed" << 1;
        QTest::newRow("6 no sound") << 6 << "<mute>" << false << "out" << "getaudio_failed" << 89;
        QTest::newRow("6 picture missing") << 6 << "<none>" << true << "out" << "picfilter_failed" << -1;
        QTest::newRow("8 picture not media") << 8 << "text\n" << true << "out" << "picfilter_failed" << -1;
        QTest::newRow("7 save dir below a file") << 7 << "<mute>" << false << "plain/out" << "save_dir_failed" << -1;
        QTest::newRow("8 picture, save dir below a file") << 8 << "<mute>" << true << "plain/out" << "save_dir_failed" << -1;
        QTest::newRow("10 no save dir") << 10 << "<mute>" << false << "" << "save_dir_failed" << -1;
        QTest::newRow("10 missing stops silently") << 10 << "<none>" << false << "out" << "" << 1;
        QTest::newRow("10 no sound stops silently after 21") << 10 << "<mute>" << false << "out" << "" << 21;
    }

    void failures()
    {
        QFETCH(int, type);
        QFETCH(QString, input);
        QFETCH(bool, picture);
        QFETCH(QString, saveDir);
        QFETCH(QString, resMsg);
        QFETCH(int, lastPos);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir));
        QFile(dir + "/plain").open(QIODevice::WriteOnly);
        QString file = input == "<mute>" ? m_sMute : dir + "/in put.mp4";
        if (input != "<mute>" && input != "<none>") {
            QFile f(file);
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(input.toUtf8()) == input.size());
        }
        const Run run = Start(type, Params(type, file, saveDir.isEmpty() ? QString() : dir + "/" + saveDir, picture));
        QCOMPARE(run.finished, 1);
        QCOMPARE(run.result, (QVariantMap{{"resMsg", resMsg}}));
        QVERIFY(!run.params.contains("sOutFile"));
        QCOMPARE(run.progress.isEmpty() ? -1 : run.progress.last(), lastPos);
        // Only the temporary folder of a failed run stays, as a record of it.
        for (const QString& entry : Entries(dir + "/out"))
            QVERIFY2(entry.startsWith("_temp"), qPrintable(entry));
    }
};

QTEST_GUILESS_MAIN(TstFilterWorks)
#include "tst_filterworks.moc"
