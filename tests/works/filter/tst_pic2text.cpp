// Picture to text: whole runs with the shipped recogniser on a rendered picture, a stand-in
// recogniser for the command line and the result-file rules, and bad input.

#include "TestFiles.h"
#include "TestHost.h"

#include <QTemporaryDir>

#include <QtTest>

// A white (or other) picture with one Chinese and one English line in Noto Sans CJK.
static bool RenderLines(const QString& path, const QString& background = "color=white:s=640x200")
{
    const QString font = "fontfile=/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc:fontsize=40:fontcolor=black:x=40";
    return QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", background, "-frames:v", "1", "-vf",
                                        "drawtext=" + font + ":y=40:text=今天天气很好,drawtext=" + font + ":y=120:text=Hello World 2024",
                                        path}) == 0;
}

class TstPic2Text : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    QString m_sPicture;
    const QString m_sTools = QDir(qEnvironmentVariable("ZRW_BIN_DIR") + "/../worktools/ocr").absolutePath();

    QVariantMap Run(const QString& file, const QString& saveDir, const QString& exc = QString())
    {
        return TestHost::RunWork(15, {{"sFile", file}, {"sSaveDir", saveDir}, {"sWorkPath", m_sTools},
                                           {"sWorkExc", exc.isEmpty() ? m_sTools + "/zrocr" : exc}});
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_sPicture = m_tmp.filePath("lines.png");
        QVERIFY2(RenderLines(m_sPicture), "ffmpeg must be able to render the test picture");
    }

    // The shipped recogniser reads both lines of a picture with a leading dash, spaces, quotes and non-ASCII in its name.
    void readsRenderedLines()
    {
        const QString dir = m_tmp.filePath("ok"), picture = dir + "/-my \"page\" 图片 1.png", txt = dir + "/out/-my \"page\" 图片 1.txt";
        QVERIFY(QDir().mkpath(dir + "/out") && QFile::copy(m_sPicture, picture));
        QCOMPARE(Run(picture, dir + "/out"), (QVariantMap{{"resMsg", ""}, {"sOutFile", txt}}));
        QCOMPARE(TestFiles::Read(txt), QString("今天天气很好\nHello World 2024\n"));
        QCOMPARE(QDir(dir + "/out").entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{QFileInfo(txt).fileName()});
    }

    // Black text on transparency is laid on white before it becomes a JPEG; TIFF scans are read.
    void otherPictures_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("background");
        QTest::newRow("transparent") << "clear.png" << "color=black@0.0:s=640x200,format=rgba";
        QTest::newRow("tiff") << "scan.tif" << "color=white:s=640x200";
    }
    void otherPictures()
    {
        QFETCH(QString, name);
        QFETCH(QString, background);
        const QString dir = m_tmp.filePath("other");
        QVERIFY(QDir().mkpath(dir) && RenderLines(dir + "/" + name, background));
        QCOMPARE(TestFiles::Read(Run(dir + "/" + name, dir).value("sOutFile").toString()), QString("今天天气很好\nHello World 2024\n"));
    }

    // The exact command line, run in the tool folder. Only what follows the first line holding the
    // case-sensitive marker is kept: none gives an empty text and success. A taken name gets _1.
    void standInRecogniser()
    {
        const QString dir = m_tmp.filePath("standin");
        QVERIFY(QDir().mkpath(dir + "/out") && TestFiles::Write(dir + "/out/lines.txt", "taken"));
        const QString script = dir + "/recog.sh";
        QVERIFY(TestFiles::Write(script, "#!/bin/sh\n{ echo fulldetecttime; echo \"$PWD\"; printf '<%s>' \"$@\"; } > \"${12}-result.txt\"\n", true));
        QCOMPARE(Run(m_sPicture, dir + "/out", script), (QVariantMap{{"resMsg", ""}, {"sOutFile", dir + "/out/lines_1.txt"}}));
        QCOMPARE(TestFiles::Read(dir + "/out/lines_1.txt"), QString());

        QVERIFY(TestFiles::Write(script, "#!/bin/sh\n{ echo a; echo x FullDetectTime; echo \"$PWD\"; echo FullDetectTime; printf '<%s>' \"$@\"; }"
                                  " > \"${12}-result.txt\"\n"));
        const QString text = TestFiles::Read(Run(m_sPicture, dir + "/out", script).value("sOutFile").toString());
        const QString temp = text.section('>', -2, -2).section('<', -1).section('/', 0, -2);
        QVERIFY2(temp.startsWith(dir + "/out/_temp"), qPrintable(text));
        QCOMPARE(text, m_sTools + "\nFullDetectTime\n<--models><models><--det><dbnet.onnx><--cls><angle_net.onnx><--rec><crnn_lite_lstm.onnx>"
                                  "<--keys><keys.txt><--image><" + temp + "/1.jpg>\n");
        QVERIFY2(!QFileInfo::exists(temp), "the temporary folder goes after a success");
    }

    // One finished map naming the failure; no text file. The temporary folder is kept for a look.
    void failures_data()
    {
        QTest::addColumn<QString>("input"); // "<none>" missing, "<dir>" a folder, "<picture>", else the content
        QTest::addColumn<QString>("saveDir"); // below the case's folder; empty stays empty
        QTest::addColumn<QString>("exc"); // "" the shipped recogniser
        QTest::addColumn<QString>("resMsg");
        QTest::addColumn<QString>("log");
        // What is no file at all is refused before a temporary folder is made.
        for (const char* input : {"<none>", "", "<dir>"})
            QTest::newRow(*input ? input : "empty") << QString(input) << "out" << "" << "read_image_failed" << "read_image_failed";
        QTest::newRow("just text") << "just text" << "out" << "" << "read_image_failed" << "load image failed %1";
        QTest::newRow("no recogniser") << "<picture>" << "out" << "/nonexistent/zrocr" << "recog_image_failed"
                                       << "recog image failed %2/1.jpg-result.txt";
        QTest::newRow("save dir below a file") << "<picture>" << "plain/out" << "" << "save_image_failed"
                                               << "save image failed %2/1.jpg";
        QTest::newRow("no save dir") << "<picture>" << "" << "" << "save_dir_failed" << "save_dir_failed";
    }

    void failures()
    {
        QFETCH(QString, input);
        QFETCH(QString, saveDir);
        QFETCH(QString, exc);
        QFETCH(QString, resMsg);
        QFETCH(QString, log);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir + "/input.png.d") && TestFiles::Write(dir + "/plain", "x"));
        QString file = input == "<picture>" ? m_sPicture : input == "<dir>" ? dir + "/input.png.d" : dir + "/input.png";
        if (!input.startsWith('<'))
            QVERIFY(TestFiles::Write(file, input.toUtf8()));
        const QString save = saveDir.isEmpty() ? QString() : dir + "/" + saveDir;
        QCOMPARE(Run(file, save, exc), (QVariantMap{{"resMsg", resMsg}}));
        const QStringList temps = QDir(save).entryList({"_temp*"}, QDir::Dirs);
        // A temporary folder that could not be made shows only its prefix.
        const QString temp = temps.isEmpty() ? save + "/_temp" : save + "/" + temps.first();
        const QString line = QString(log).replace("%1", file).replace("%2", temp);
        QCOMPARE(TestHost::LogsWith("CDPicFltPic2Text::DoWork Warn>> " + line.section(temps.isEmpty() ? "/_temp" : "\n", 0, 0)).size(), 1);
        if (!save.isEmpty())
            QVERIFY2(QDir(save).entryList({"*.txt"}, QDir::Files).isEmpty(), "no text file after a failure");
    }
};

QTEST_GUILESS_MAIN(TstPic2Text)
#include "tst_pic2text.moc"
