// The colour measures on made-up frames, and the colour work (type 1) on a generated clip,
// a picture to fix, bad inputs, and through zrwork.

#include "TestFiles.h"
#include "TestHost.h"
#include "work/CWorkBase.h"
#include "works/analysis/CColourMeasure.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

Q_DECLARE_METATYPE(cv::Mat)
Q_DECLARE_METATYPE(cv::Vec3b)

namespace {

using Colours = QVector<QPair<QString, double>>;

// A frame of vertical bands: each colour (BGR) that many pixels wide, 100 high.
cv::Mat Bands(const QVector<QPair<cv::Vec3b, int>>& bands)
{
    int width = 0;
    for (const auto& b : bands)
        width += b.second;
    cv::Mat frame(100, width, CV_8UC3);
    int x = 0;
    for (const auto& b : bands) {
        frame(cv::Rect(x, 0, b.second, 100)).setTo(cv::Scalar(b.first[0], b.first[1], b.first[2]));
        x += b.second;
    }
    return frame;
}

QVariantList ColourList(const Colours& colours)
{
    QVariantList out;
    for (const auto& c : colours)
        out.append(QVariantMap{{"sColour", c.first}, {"dShare", c.second}});
    return out;
}

double Chroma(const cv::Mat& frame)
{
    const CColourMeasure::Frame m = CColourMeasure::Measure(frame, 3);
    return std::hypot(m.a, m.b);
}

QStringList CsvLines(const QString& path)
{
    return TestFiles::Read(path).split('\n', Qt::SkipEmptyParts);
}

} // namespace

class TestColourWork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;

private slots:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
    }

    void measure_data()
    {
        QTest::addColumn<cv::Mat>("frame");
        QTest::addColumn<int>("colours");
        QTest::addColumn<QVariantMap>("expected");
        QTest::newRow("blue-tinted grey") << Bands({{{160, 128, 128}, 64}}) << 3
            << QVariantMap{{"dBrightness", 132.0}, {"dCastA", 7.0}, {"dCastB", -17.0}, {"sCast", "blue"},
                           {"dGainR", 1.083}, {"dGainG", 1.083}, {"dGainB", 0.867}, {"dShadows", 0.0},
                           {"dHighlights", 0.0}, {"lstColours", ColourList({{"#8080a0", 1.0}})}};
        QTest::newRow("three colours, five asked") << Bands({{{0, 0, 255}, 320}, {{0, 255, 0}, 200}, {{255, 0, 0}, 120}}) << 5
            << QVariantMap{{"dBrightness", 90.31}, {"dCastA", 27.94}, {"dCastB", 39.19}, {"sCast", "yellow"},
                           {"dGainR", 0.667}, {"dGainG", 1.067}, {"dGainB", 1.778}, {"dShadows", 0.0},
                           {"dHighlights", 0.0},
                           {"lstColours", ColourList({{"#ff0000", 0.5}, {"#00ff00", 0.3125}, {"#0000ff", 0.1875}})}};
        QTest::newRow("clipped halves") << Bands({{{0, 0, 0}, 320}, {{255, 255, 255}, 320}}) << 2
            << QVariantMap{{"dBrightness", 127.5}, {"dCastA", 0.0}, {"dCastB", 0.0}, {"sCast", "none"},
                           {"dGainR", 1.0}, {"dGainG", 1.0}, {"dGainB", 1.0}, {"dShadows", 0.5}, {"dHighlights", 0.5},
                           {"lstColours", ColourList({{"#ffffff", 0.5}, {"#000000", 0.5}})}};
    }

    void measure()
    {
        QFETCH(cv::Mat, frame);
        QFETCH(int, colours);
        QFETCH(QVariantMap, expected);
        // As JSON text, so that a difference shows.
        const auto json = [](const QVariantMap& m) { return QJsonDocument(QJsonObject::fromVariantMap(m)).toJson(QJsonDocument::Compact); };
        QCOMPARE(json(CColourMeasure::Summary(CColourMeasure::Measure(frame, colours))), json(expected));
    }

    // Each tint gives its cast's sign, and its own gains take the cast away.
    void gainsRemoveCast_data()
    {
        QTest::addColumn<cv::Vec3b>("bgr");
        QTest::addColumn<QString>("cast");
        QTest::newRow("blue") << cv::Vec3b(160, 128, 128) << "blue";
        QTest::newRow("yellow") << cv::Vec3b(90, 140, 150) << "yellow";
        QTest::newRow("green") << cv::Vec3b(120, 150, 120) << "green";
        QTest::newRow("magenta") << cv::Vec3b(150, 120, 150) << "magenta";
    }

    void gainsRemoveCast()
    {
        QFETCH(cv::Vec3b, bgr);
        QFETCH(QString, cast);
        const cv::Mat frame = Bands({{bgr, 80}});
        const CColourMeasure::Frame m = CColourMeasure::Measure(frame, 3);
        QCOMPARE(CColourMeasure::CastName(m.a, m.b), cast);
        cv::Mat fixed;
        cv::multiply(frame, cv::Scalar(m.gainB, m.gainG, m.gainR), fixed);
        QVERIFY2(Chroma(fixed) < 1.0, qPrintable(QString::number(Chroma(fixed))));
    }

    void setParams_data()
    {
        QTest::addColumn<QVariantMap>("params");
        QTest::addColumn<QString>("expected"); // accepted or not, then the normalised values in key order
        QTest::newRow("defaults") << QVariantMap{{"sFile", "a"}} << "true false 0 3 0 a ";
        QTest::newRow("clamped and wrong") << QVariantMap{{"nColours", 12}, {"dSeconds", "x"}, {"bFix", true}, {"nStep", 2}}
                                           << "false true 0 8 2  ";
    }

    void setParams()
    {
        QFETCH(QVariantMap, params);
        QFETCH(QString, expected);
        CObjLibImp* lib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        CDetWork* work = lib->CreateWork(1);
        QStringList values{work->SetParams(params) ? "true" : "false"};
        for (const QVariant& v : dynamic_cast<CWorkBase*>(work)->Params())
            values << v.toString();
        QCOMPARE(values.join(' '), expected);
        lib->ReleaseWork(work);
    }

    // Ten frames whose times jump: five blue-tinted at 0..0.4 s, five yellow-tinted at
    // 2.0..2.4 s. The timeline follows the frames' own times, one row a second.
    void timeline()
    {
        const QString clip = m_tmp.filePath("jump clip.mp4"), out = m_tmp.filePath("timeline");
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "color=c=0x8080a0:s=160x120:r=10:d=0.5",
                                              "-f", "lavfi", "-i", "color=c=0xa0a070:s=160x120:r=10:d=0.5", "-filter_complex",
                                              "[0][1]concat=n=2:v=1:a=0,setpts='if(lt(N,5),N,N+15)/10/TB'", "-fps_mode",
                                              "passthrough", "-c:v", "libx264", "-pix_fmt", "yuv444p", clip}),
                 0);
        QVariantMap res = TestHost::RunWork(1, {{"sFile", clip}, {"sSaveDir", out}, {"nStep", 1}});
        QCOMPARE(res.value("resMsg").toString(), QString());
        QCOMPARE(res.value("nSamples").toInt(), 4); // frames 0, 3, 6, 9
        QCOMPARE(res.value("nDecoded").toInt(), 10);
        QCOMPARE(res.value("nFrameStep").toInt(), 3);
        QCOMPARE(res.value("sCsvFile").toString(), out + "/jump clip-colour.csv");
        const QStringList lines = CsvLines(res.value("sCsvFile").toString());
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines.at(0), "second,samples,brightness,cast_a,cast_b,gain_r,gain_g,gain_b,shadows,highlights,colours");
        QVERIFY2(lines.at(1).startsWith("0,2,") && lines.at(2).startsWith("2,2,"), qPrintable(lines.join('|')));
        QVERIFY(lines.at(1).section(',', 4, 4).toDouble() < -10); // blue: b* well below 0
        QVERIFY(lines.at(2).section(',', 4, 4).toDouble() > 10);  // yellow
    }

    // A stop between frames of a file ends the run with nothing written.
    void stop()
    {
        const QString clip = m_tmp.filePath("long.mp4"), out = m_tmp.filePath("stopped");
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=s=160x120:r=25:d=20", clip}), 0);
        CObjLibImp* lib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        CDetWork* work = lib->CreateWork(1);
        work->SetParams({{"sFile", clip}, {"sSaveDir", out}, {"bFix", true}});
        TestHost::Clear();
        work->StartWork();
        work->StopWork();
        work->JoinWork(60000);
        lib->ReleaseWork(work);
        QCOMPARE(TestHost::Count(WorkLibRs_Finished), 1);
        QCOMPARE(TestHost::Of(WorkLibRs_Finished).first().toMap().value("res_data").toMap().value("resMsg").toString(), "task_stopped");
        QCOMPARE(QDir(out).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    // The fixed picture has less cast than the input; the CSV is one row.
    void fixPicture()
    {
        const QString pic = m_tmp.filePath("tinted.png"), out = m_tmp.filePath("fixed");
        cv::Mat frame = Bands({{{170, 120, 110}, 100}, {{90, 60, 50}, 60}});
        QVERIFY(cv::imwrite(pic.toStdString(), frame));
        const QVariantMap res = TestHost::RunWork(1, {{"sFile", pic}, {"sSaveDir", out}, {"bFix", true}});
        QCOMPARE(res.value("resMsg").toString(), QString());
        QCOMPARE(res.value("sCast").toString(), "blue");
        QCOMPARE(res.value("sOutFile").toString(), out + "/tinted.png");
        QCOMPARE(CsvLines(res.value("sCsvFile").toString()).size(), 2);
        const cv::Mat fixed = cv::imread(res.value("sOutFile").toString().toStdString());
        QCOMPARE(fixed.size(), frame.size());
        QVERIFY2(Chroma(fixed) < Chroma(frame) / 4, qPrintable(QString("%1 %2").arg(Chroma(fixed)).arg(Chroma(frame))));
    }

    void badInput_data()
    {
        QTest::addColumn<QString>("input"); // "<none>" missing, "<dir>" a folder, "<audio>" sound only, "<dev>" a device, else content
        QTest::addColumn<QString>("saveDir");
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("missing") << "<none>" << "out" << "read_input_failed";
        QTest::newRow("empty") << "" << "out" << "read_input_failed";
        QTest::newRow("folder") << "<dir>" << "out" << "read_input_failed";
        QTest::newRow("not media") << "just text" << "out" << "read_input_failed";
        QTest::newRow("audio only") << "<audio>" << "out" << "read_input_failed";
        QTest::newRow("no device") << "<dev>" << "out" << "open_device_failed";
        QTest::newRow("save dir below a file") << "<pic>" << "in.png/out" << "save_dir_failed";
        QTest::newRow("fix without a save dir") << "<pic>" << "" << "save_dir_failed";
    }

    void badInput()
    {
        QFETCH(QString, input);
        QFETCH(QString, saveDir);
        QFETCH(QString, resMsg);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag()), file = dir + "/in.png";
        QVERIFY(QDir().mkpath(input == "<dir>" ? file : dir));
        if (input == "<audio>")
            QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "sine=d=1", "-f", "mp4", file}), 0);
        else if (input == "<pic>")
            QVERIFY(cv::imwrite(file.toStdString(), Bands({{{1, 2, 3}, 8}})));
        else if (!input.startsWith("<"))
            QVERIFY(TestFiles::Write(file, input.toUtf8()));
        const QVariantMap finished = TestHost::RunFinished(
            1, {{"sFile", input == "<dev>" ? "/dev/video99" : file}, {"bFix", true},
                {"sSaveDir", saveDir.isEmpty() ? QString() : dir + "/" + saveDir}});
        QCOMPARE(finished.value("res_data").toMap().value("resMsg").toString(), resMsg);
        // Nothing was written: no CSV, no picture, no temporary folder.
        QCOMPARE(QDir(dir + "/out").entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }

    // zrwork runs the work and sums it up on stderr.
    void zrwork()
    {
        const QString pic = m_tmp.filePath("cli.png"), out = m_tmp.filePath("cli out");
        QVERIFY(cv::imwrite(pic.toStdString(), Bands({{{160, 128, 128}, 64}})));
        QProcess p;
        p.start(qEnvironmentVariable("ZRW_BIN_DIR") + "/zrwork", {"colour", pic, "--save-dir", out, "--fix"});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), 0);
        QVERIFY2(p.readAllStandardError().contains("cast: blue (a* 7.00, b* -17.00), gains R 1.083 G 1.083 B 0.867, "
                                                   "brightness 132.0, colours: #8080a0 100.0%"),
                 "summary line");
        QVERIFY(QFileInfo(out + "/cli.png").isFile());
    }
};

QTEST_GUILESS_MAIN(TestColourWork)
#include "tst_colourwork.moc"
