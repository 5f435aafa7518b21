// Picture to text: whole runs through the library object with the shipped recogniser on a
// rendered picture, a stand-in recogniser for the result-file rules, and bad input.

#include "TestHost.h"
#include "core/CObjLibImp.h"
#include "works/filter/CDPicFltPic2Text.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

bool WriteFile(const QString& path, const QByteArray& data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

QString ReadText(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromUtf8(f.readAll()) : "<missing>";
}

// A white picture with one Chinese and one English line in Noto Sans CJK.
bool RenderLines(const QString& path)
{
    const QString font = "fontfile=/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc:fontsize=40:fontcolor=black:x=40";
    QProcess ff;
    ff.start("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "color=white:s=640x200", "-frames:v", "1", "-vf",
                        "drawtext=" + font + ":y=40:text=今天天气很好,drawtext=" + font + ":y=120:text=Hello World 2024", path});
    return ff.waitForFinished(60000) && ff.exitCode() == 0;
}

} // namespace

class TstPic2Text : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sPicture;
    const QString m_sTools = QDir(qEnvironmentVariable("ZRW_BIN_DIR") + "/../worktools/ocr").absolutePath();

    // One whole run; the result map, or {"runs": n} when not exactly one finished map came.
    QVariantMap Run(const QString& file, const QString& saveDir, const QString& exc = QString())
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(15);
        work->SetParams({{"sFile", file}, {"sSaveDir", saveDir}, {"sWorkPath", m_sTools},
                         {"sWorkExc", exc.isEmpty() ? m_sTools + "/zrocr" : exc}});
        work->StartWork();
        work->JoinWork(120000);
        m_pLib->ReleaseWork(work);
        const auto finished = TestHost::Of(WorkLibRs_Finished);
        if (finished.size() != 1)
            return {{"runs", finished.size()}};
        return finished.first().toMap().value("res_data").toMap();
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        m_sPicture = m_tmp.filePath("lines.png");
        QVERIFY2(RenderLines(m_sPicture), "ffmpeg must be able to render the test picture");
    }

    void resultLines_data()
    {
        QTest::addColumn<QString>("result");
        QTest::addColumn<QString>("kept");
        QTest::newRow("after the marker") << "FullDetectTime(5ms)\n第一行\nline two\n" << "第一行\nline two\n";
        QTest::newRow("first marker only") << "head\nx FullDetectTime\na\nFullDetectTime\nb" << "a\nFullDetectTime\nb\n";
        QTest::newRow("no marker") << "a\nb\n" << "";
        QTest::newRow("case-sensitive") << "fulldetecttime\na\n" << "";
    }

    void resultLines()
    {
        QFETCH(QString, result);
        QFETCH(QString, kept);
        QTextStream in(&result);
        QString out;
        QTextStream outText(&out);
        CDPicFltPic2Text::CopyResultLines(in, outText);
        outText.flush();
        QCOMPARE(out, kept);
    }

    // The shipped recogniser reads both lines, whatever the picture is called.
    void readsRenderedLines_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("plain") << "lines.png";
        QTest::newRow("spaces, quotes, non-ASCII") << "my \"page\" 图片 1.png";
        QTest::newRow("leading dash") << "-lines.png";
    }

    void readsRenderedLines()
    {
        QFETCH(QString, name);
        const QString dir = m_tmp.filePath(QString("ok/") + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir + "/out") && QFile::copy(m_sPicture, dir + "/" + name));
        const QString txt = dir + "/out/" + QFileInfo(name).baseName() + ".txt";
        QCOMPARE(Run(dir + "/" + name, dir + "/out"), (QVariantMap{{"resMsg", ""}, {"sOutFile", txt}}));
        QCOMPARE(ReadText(txt), QString("今天天气很好\nHello World 2024\n"));
        QCOMPARE(QDir(dir + "/out").entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{QFileInfo(txt).fileName()});
    }

    // The exact command line, run in the tool folder; a result without the marker gives an
    // empty text and success; a taken name gets _1.
    void standInRecogniser()
    {
        const QString dir = m_tmp.filePath("standin");
        QVERIFY(QDir().mkpath(dir + "/out") && WriteFile(dir + "/out/lines.txt", "taken"));
        const QString script = dir + "/recog.sh";
        QVERIFY(WriteFile(script, "#!/bin/sh\n{ echo \"$PWD\"; printf '<%s>' \"$@\"; } > \"${12}-result.txt\"\n"));
        QVERIFY(QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        const QVariantMap res = Run(m_sPicture, dir + "/out", script);
        QCOMPARE(res, (QVariantMap{{"resMsg", ""}, {"sOutFile", dir + "/out/lines_1.txt"}}));
        QCOMPARE(ReadText(dir + "/out/lines_1.txt"), QString());

        QVERIFY(WriteFile(script, "#!/bin/sh\n{ echo FullDetectTime; echo \"$PWD\"; printf '<%s>' \"$@\"; } > \"${12}-result.txt\"\n"));
        const QString text = ReadText(Run(m_sPicture, dir + "/out", script).value("sOutFile").toString());
        const QString temp = text.section('>', -2, -2).section('<', -1).section('/', 0, -2);
        QVERIFY2(temp.startsWith(dir + "/out/_temp"), qPrintable(text));
        QCOMPARE(text, m_sTools + "\n<--models><models><--det><dbnet.onnx><--cls><angle_net.onnx><--rec><crnn_lite_lstm.onnx>"
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
        QTest::newRow("missing") << "<none>" << "out" << "" << "read_image_failed" << "load image failed %1";
        QTest::newRow("empty") << "" << "out" << "" << "read_image_failed" << "load image failed %1";
        QTest::newRow("not a picture") << "just text\n" << "out" << "" << "read_image_failed" << "load image failed %1";
        QTest::newRow("folder") << "<dir>" << "out" << "" << "read_image_failed" << "load image failed %1";
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
        QVERIFY(QDir().mkpath(dir + "/input.png.d") && WriteFile(dir + "/plain", "x"));
        QString file = input == "<picture>" ? m_sPicture : input == "<dir>" ? dir + "/input.png.d" : dir + "/input.png";
        if (!input.startsWith('<'))
            QVERIFY(WriteFile(file, input.toUtf8()));
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
