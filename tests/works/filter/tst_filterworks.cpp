// The frame pipeline's works end to end on generated clips: beautify, style, the real upscaler, re-encoding.

#include "TestFiles.h"
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

// A program's standard output, or "<failed>" when it does not end with status 0.
QString Exec(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    return p.waitForFinished(60000) && p.exitCode() == 0 ? QString::fromUtf8(p.readAllStandardOutput()) : "<failed>";
}

cv::Mat FirstFrame(const QString& path)
{
    cv::Mat frame;
    cv::VideoCapture(path.toStdString()).read(frame);
    return frame.empty() ? cv::imread(path.toStdString()) : frame;
}

} // namespace

class TstFilterWorks : public QObject
{
    Q_OBJECT
    QTemporaryDir m_tmp;
    const QString m_sClip = m_tmp.filePath("clip.mp4"), m_sPic = m_tmp.filePath("pic.png");
    const QString m_sTools = QCoreApplication::applicationDirPath() + "/../worktools";

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        // One second at 15 frames with a tone, the same without sound, with MP3 sound in MKV, and its first 0.2 s (3 frames).
        QVERIFY(Exec("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=15:duration=1", "-f", "lavfi", "-i", "sine=duration=1",
                                "-pix_fmt", "yuv420p", "-c:a", "aac", m_sClip, "-pix_fmt", "yuv420p", "-an", m_tmp.filePath("mute.mp4"),
                                "-pix_fmt", "yuv420p", "-c:a", "libmp3lame", m_tmp.filePath("clip.mkv"),
                                "-pix_fmt", "yuv420p", "-c:a", "aac", "-t", "0.2", m_tmp.filePath("short.mp4")}) != "<failed>");
        QVERIFY(Exec("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc=size=80x60", "-frames:v", "1", m_sPic, "-frames:v", "1", m_tmp.filePath("pic.bmp")}) != "<failed>");
        // Transparent left half; wider than the 400 pixels at which the upscaler's engine broke on alpha.
        QVERIFY(Exec("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc=size=410x24", "-vf", "format=rgba,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='if(lt(X,205),0,255)'",
                                "-frames:v", "1", m_tmp.filePath("alpha.png")}) != "<failed>");
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

    // One run per row. "input": a clip or picture made here, "=text" a file holding that text,
    // "" none at all; it is given as "name". A width of 0: the run fails and leaves no output.
    void runs_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("picture");
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("saveDir");
        QTest::addColumn<QString>("model"); // style only; a missing one fails every frame
        QTest::addColumn<QList<int>>("progress");
        QTest::addColumn<QString>("resMsg");
        QTest::addColumn<int>("width");
        // Under 66 frames progress comes on every frame: the clip's 15, the short clip's 3.
        const QList<int> frames{1, 11, 11, 15, 19, 24, 28, 33, 37, 41, 46, 50, 55, 59, 63, 68, 72, 79, 89}, done{94, 99};
        const QString clip = "clip.mp4", in = "in put.mp4", sepia = "sepia.onnx";
        QTest::newRow("beautify") << 6 << false << clip << clip << "out" << "" << frames + done << "" << 160;
        QTest::newRow("style") << 7 << false << clip << clip << "out" << sepia << frames + done << "" << 160;
        QTest::newRow("MKV with MP3 sound") << 6 << false << "clip.mkv" << "clip.mkv" << "out" << "" << frames + done << "" << 160;
        QTest::newRow("no sound gives a silent video") << 6 << false << "mute.mp4" << "mute.mp4" << "out" << "" << frames + done << "" << 160;
        QTest::newRow("7 bad network fails before any frame") << 7 << false << clip << clip << "out" << "none.onnx" << QList<int>() << "filter_init_failed" << 0;
        QTest::newRow("upscale") << 8 << false << "short.mp4" << "short.mp4" << "out" << "" << QList<int>{1, 11, 11, 33, 55, 79, 89, 94, 99} << "" << 320;
        QTest::newRow("reencode") << 10 << false << clip << clip << "out" << "" << QList<int>{1, 11, 21, 26, 31} << "" << 160;
        QTest::newRow("reencode without sound") << 10 << false << "mute.mp4" << "mute.mp4" << "out" << "" << QList<int>{1, 11, 21, 26, 31} << "" << 160;
        QTest::newRow("beautify keeps alpha") << 6 << true << "alpha.png" << "alpha.png" << "out" << "" << QList<int>() << "" << 410;
        QTest::newRow("style keeps alpha") << 7 << true << "alpha.png" << "alpha.png" << "out" << sepia << QList<int>() << "" << 410;
        QTest::newRow("upscale keeps alpha") << 8 << true << "alpha.png" << "alpha.png" << "out" << "" << QList<int>() << "" << 820;
        QTest::newRow("upscale bmp") << 8 << true << "pic.bmp" << "pic.bmp" << "out" << "" << QList<int>() << "" << 160;
        QTest::newRow("beautify jpg") << 6 << true << "pic.png" << "photo.jpg" << "out" << "" << QList<int>() << "" << 80;
        QTest::newRow("style, odd name") << 7 << true << "pic.png" << "-it's \"odd\" ü.png" << "out" << sepia << QList<int>() << "" << 80;
        QTest::newRow("upscale, odd name") << 8 << true << "pic.png" << "-a b ü.png" << "out" << "" << QList<int>() << "" << 160;
        QTest::newRow("6 missing") << 6 << false << "" << in << "out" << "" << QList<int>() << "videotopic_failed" << 0;
        QTest::newRow("7 empty") << 7 << false << "=" << in << "out" << sepia << QList<int>() << "videotopic_failed" << 0;
        QTest::newRow("8 not media") << 8 << false << "=text\n" << in << "out" << "" << QList<int>{1} << "videotopic_failed" << 0;
        QTest::newRow("6 picture missing") << 6 << true << "" << in << "out" << "" << QList<int>() << "picfilter_failed" << 0;
        QTest::newRow("8 picture not media") << 8 << true << "=text\n" << in << "out" << "" << QList<int>() << "picfilter_failed" << 0;
        QTest::newRow("7 save dir below a file") << 7 << false << "mute.mp4" << in << "plain/out" << sepia << QList<int>() << "save_dir_failed" << 0;
        QTest::newRow("8 picture, save dir below a file") << 8 << true << "mute.mp4" << in << "plain/out" << "" << QList<int>() << "save_dir_failed" << 0;
        QTest::newRow("10 no save dir stops silently") << 10 << false << "mute.mp4" << in << "" << "" << QList<int>() << "" << 0;
        QTest::newRow("10 missing stops silently") << 10 << false << "" << in << "out" << "" << QList<int>() << "" << 0;
    }

    void runs()
    {
        QFETCH(int, type);
        QFETCH(bool, picture);
        QFETCH(QString, input);
        QFETCH(QString, name);
        QFETCH(QString, saveDir);
        QFETCH(QString, model);
        QFETCH(QList<int>, progress);
        QFETCH(QString, resMsg);
        QFETCH(int, width);
        const QString dir = m_tmp.filePath(QString("runs/") + QTest::currentDataTag()), source = m_tmp.filePath(input), file = dir + "/" + name;
        // "plain" is a file to put a save folder below.
        QVERIFY(QDir().mkpath(dir + "/out") && TestFiles::Write(dir + "/plain", "") && (!input.startsWith('=') || TestFiles::Write(file, input.mid(1).toUtf8())));
        // A run's output name is taken already, so it gets "_1".
        const QString base = QFileInfo(name).baseName(), suffix = picture ? QFileInfo(name).suffix() : "mp4";
        const QString taken = base + "." + suffix, out = dir + "/out/" + base + "_1." + suffix;
        QVERIFY(input.isEmpty() || input.startsWith('=') || (QFile::copy(source, file) && (!width || QFile::copy(source, dir + "/out/" + taken))));
        QVariantMap params{{"sFile", file}, {"sSaveDir", saveDir.isEmpty() ? QString() : dir + "/" + saveDir}, {"bPicFlt", picture}};
        const QMap<int, QVariantMap> own{{6, {{"nDegree", 3}, {"nDetails", 2}, {"nOpacity", 5}, {"nWhite", 2}}},
                                         {7, {{"mapStyle", QVariantMap{{"sModel", m_sTools + "/styles/" + model}}}}},
                                         {8, {{"sWorkPath", m_sTools + "/upscale"}, {"sWorkExc", "waifu2x"}}}};
        params.insert(own.value(type));
        const QVariantMap finished = TestHost::RunFinished(type, params);
        // The re-encoding pass names its output in the parameter map.
        QCOMPARE(finished.value("res_data").toMap(), (!width || type == 10 ? QVariantMap{{"resMsg", resMsg}} : QVariantMap{{"resMsg", ""}, {"sOutFile", out}}));
        QCOMPARE(finished.value("user_data").toMap().value("sOutFile").toString(), width && type == 10 ? out : QString());
        QCOMPARE(TestHost::Positions(), progress);
        // A failed run leaves its temporary folder alone, as a record; a finished one only its output.
        const QStringList left = QDir(dir + "/out").entryList(QDir::AllEntries | QDir::NoDotAndDotDot).filter(QRegularExpression(width ? "" : "^(?!_temp)"));
        QCOMPARE(left, (width ? QStringList{taken, base + "_1." + suffix} : QStringList()));
        if (!width)
            return;
        QCOMPARE(Exec("ffprobe", {"-v", "error", "-show_entries", "stream=codec_type", "-of", "csv=p=0", out}),
                 picture || input == "mute.mp4" ? "video\n" : "video\naudio\n");
        const cv::Mat first = FirstFrame(out);
        QCOMPARE(first.cols, width);
        if (input == "alpha.png") {
            // The colour is filtered, the transparency comes back (scaled with the picture).
            cv::Mat alpha, got = cv::imread(out.toStdString(), cv::IMREAD_UNCHANGED);
            QCOMPARE(got.channels(), 4);
            cv::extractChannel(got, alpha, 3);
            QVERIFY(std::abs(cv::countNonZero(alpha) - int(got.total() / 2)) <= 2 * got.rows);
            return;
        }
        const cv::Scalar was = cv::mean(FirstFrame(source)), mean = cv::mean(first);
        // Sepia puts red above green above blue; the others keep the colours, the upscaler aside.
        QVERIFY(model == "sepia.onnx" ? mean[2] > mean[1] + 10 && mean[1] > mean[0] + 10 : type == 8 || std::abs(was[1] - mean[1]) < 12);
    }

    // A stop during frame extraction ends ffmpeg: the run ends long before the extraction
    // would, as "task_stopped", and leaves nothing behind.
    void stopDuringExtraction()
    {
        const QString clip = m_tmp.filePath("long.mp4"), dir = m_tmp.filePath("stop");
        // Ten minutes at one frame a second, which ffmpeg writes out as 9000 pictures.
        QVERIFY(Exec("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=1:duration=600", "-pix_fmt", "yuv420p", clip}) != "<failed>");
        TestHost::Clear();
        CWorkLib* lib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        CDetWork* work = lib->CreateWork(6);
        work->SetParams({{"sFile", clip}, {"sSaveDir", dir}, {"nDegree", 3}, {"nDetails", 2}, {"nOpacity", 5}, {"nWhite", 2}});
        work->StartWork();
        QTRY_VERIFY_WITH_TIMEOUT(QDirIterator(dir, {"00000001.png"}, QDir::Files, QDirIterator::Subdirectories).hasNext(), 60000);
        work->StopWork();
        QTRY_VERIFY_WITH_TIMEOUT(work->IsFinished(), 20000);
        lib->ReleaseWork(work);
        QCOMPARE(TestHost::Of(WorkLibRs_Finished).value(0).toMap().value("res_data").toMap(), (QVariantMap{{"resMsg", "task_stopped"}}));
        QCOMPARE(QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    // The command-line host: shipped networks by name, and type 10's silent failure as exit status 1.
    void zrworkCommands()
    {
        const QString zrwork = QCoreApplication::applicationDirPath() + "/zrwork", dir = m_tmp.filePath("cli");
        QCOMPARE(Exec(zrwork, {"styles"}).count(".onnx\n"), 3);
        QCOMPARE(QProcess::execute(zrwork, {"style", m_sPic, "--save-dir", dir, "--model", "cartoon"}), 0);
        QVERIFY(QFileInfo(dir + "/pic.png").size() > 0);
        QCOMPARE(QProcess::execute(zrwork, {"reencode", m_tmp.filePath("none.mp4"), "--save-dir", dir}), 1);
    }

    // Type 10 answers with the first frame, and says true only where it has none to give.
    void detVideoImg()
    {
        CWorkLib* lib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        CDetWork* work = lib->CreateWork(10);
        QVariantMap got;
        const auto reply = [&got](const QVariantMap& m) { got = m; return true; };
        QCOMPARE(work->QueryWork({{"type", "detVideoImg"}, {"file", m_sClip}}, reply), false);
        QCOMPARE(got.value("desImage").value<QImage>().size(), QSize(160, 120));
        QCOMPARE(work->QueryWork({{"type", "detVideoImg"}, {"file", m_tmp.filePath("none.mp4")}}, reply), true);
        lib->ReleaseWork(work);
    }
};

QTEST_GUILESS_MAIN(TstFilterWorks)
#include "tst_filterworks.moc"
