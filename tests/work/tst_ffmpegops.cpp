// The ffmpeg operations on tiny generated media in a folder whose name needs quoting in any
// shell (every path must reach ffmpeg as it is), and the parser of ffmpeg's silence report.
#include "TestHost.h"
#include "work/FFmpegOps.h"

#include <QtTest>

#include <functional>

class TestFFmpegOps : public QObject
{
    Q_OBJECT
    QTemporaryDir m_tmp;
    // vid.mp4 (64x48 h264 + aac), voice.wav (tone, silent from 2 s to 4 s), pictures; "$d".
    const QString m_dir = m_tmp.filePath("media 'q' \"dq\" é");

    static bool ff(const QStringList& args)
    {
        return QProcess::execute("ffmpeg", QStringList {"-hide_banner", "-loglevel", "error", "-y"} + args) == 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString d = m_dir, tone = "sine=frequency=440:duration=2:sample_rate=8000";
        QVERIFY(QDir().mkpath(d + "/pngs") && QDir().mkpath(d + "/jpgs") && QDir().mkpath(d + "/none"));
        QVERIFY(ff({"-f", "lavfi", "-i", "testsrc=size=64x48:rate=10:duration=2", "-f", "lavfi", "-i", tone,
                    "-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:a", "aac", "-shortest", d + "/vid.mp4"}));
        QVERIFY(ff({"-f", "lavfi", "-i", "aevalsrc='sin(880*PI*t)*not(between(t,2,4))':s=8000:d=6", d + "/voice.wav"}));
        // Odd sizes: libx264 takes the sequences only once the pad filter has made them even.
        QVERIFY(ff({"-f", "lavfi", "-i", "testsrc=size=63x47", "-frames:v", "4", d + "/pngs/%8d.png"}));
        QVERIFY(ff({"-f", "lavfi", "-i", "testsrc=size=63x47", "-frames:v", "3", d + "/jpgs/pic %d.jpg"}));
        QFile list(d + "/list.txt");
        QVERIFY(list.open(QIODevice::WriteOnly) && list.write("file 'vid.mp4'\nfile 'vid.mp4'\n") > 0);
    }
    void init() { TestHost::Install(); }

    // The operation is the first word of the row name; "$d" stands for the media folder.
    void operations_data()
    {
        QTest::addColumn<QVariantMap>("args");
        QTest::addColumn<QString>("exec"); // empty: ffmpeg must not run, and the operation fails
        QTest::addColumn<QString>("gone"); // must not exist afterwards
        const auto row = [](const char* name, const QVariantMap& args, const QString& exec, const QString& gone = QString()) {
            QTest::newRow(name) << args << exec << gone;
        };
        const QString pad = " -vf pad=ceil(iw/2)*2:ceil(ih/2)*2 ";
        QVariantMap cut {{"inFile", "$d/vid.mp4"}, {"outFile", "$d/c.mp4"}, {"startTime", "0.5"}, {"endTime", "1"}};
        row("CutSegment", cut, "-y -ss 0.5 -to 1 -i $d/vid.mp4 -vsync 0 -acodec aac -vcodec libx264 $d/c.mp4");
        cut["bFast"] = true;
        row("CutSegment bFast", cut,
            "-y -ss 0.5 -to 1 -copyts -i $d/vid.mp4 -vsync 0 -acodec copy -vcodec copy $d/c.mp4");
        row("ExtractAudio PCM16", {{"inFile", "$d/vid.mp4"}, {"outFile", "$d/a.wav"}, {"aType", "PCM16"}},
            "-y -i $d/vid.mp4 -vn -acodec pcm_s16le -ac 1 -ar 16000 $d/a.wav");
        row("ExtractAudio pcm16 copies", {{"inFile", "$d/vid.mp4"}, {"outFile", "$d/a.m4a"}, {"aType", "pcm16"}},
            "-y -i $d/vid.mp4 -vn -acodec copy $d/a.m4a");
        row("MergeAudioVideo", {{"inFile", "$d/vid.mp4"}, {"inFile2", "$d/voice.wav"}, {"outFile", "$d/m.mkv"}},
            "-y -i $d/vid.mp4 -i $d/voice.wav -vsync 0 -acodec copy -vcodec copy $d/m.mkv");
        row("RemoveSilence", {{"inFile", "$d/voice.wav"}, {"outFile", "$d/r.wav"}},
            "-y -i $d/voice.wav -af silenceremove=stop_periods=-1:stop_duration=1:stop_threshold=-30dB $d/r.wav");
        row("DetectSilence, settings raised to 1", {{"inFile", "$d/voice.wav"}, {"nDecibel", 0}, {"nDuration", -3}},
            "-i $d/voice.wav -af silencedetect=noise=-1dB:duration=1 -f null -");
        row("VideoToPngSeq makes the folder", {{"inFile", "$d/vid.mp4"}, {"saveDir", "$d/frames/nested"}},
            "-y -i $d/vid.mp4 -r 15 $d/frames/nested/%8d.png");
        // The list file is named relative to the working folder.
        row("ConcatFiles", {{"inFile", QStringList {"list.txt"}}, {"outFile", "$d/j.mp4"}, {"workPath", "$d"}},
            "-y -f concat -safe 0 -i list.txt -acodec copy -vcodec copy $d/j.mp4");
        // The second run finds the pictures only if the first one left them alone.
        const QString png = "-y -r 15 -i $d/pngs/%8d.png" + pad + "-pix_fmt yuv420p -vcodec libx264 $d/p.mp4";
        row("PngSeqToVideo", {{"inDir", "$d/pngs"}, {"outFile", "$d/p.mp4"}}, png);
        row("PngSeqToVideo bRmInDir", {{"inDir", "$d/pngs"}, {"outFile", "$d/p.mp4"}, {"bRmInDir", true}}, png, "pngs");
        row("JpgSeqToVideo", {{"inDir", "$d/jpgs"}, {"outFile", "$d/v.mp4"}},
            "-y -r 5 -i $d/jpgs/tmppiczr/%d.jpg" + pad + "-vcodec libx264 $d/v.mp4", "jpgs/tmppiczr");
        row("JpgSeqToVideo, empty folder removed", {{"inDir", "$d/none"}, {"outFile", "$d/n.mp4"}}, "", "none");
    }
    void operations()
    {
        const QString op = QString(QTest::currentDataTag()).section(QRegExp("[ ,]"), 0, 0);
        QFETCH(QVariantMap, args);
        QFETCH(QString, exec);
        QFETCH(QString, gone);
        for (QVariant& v : args)
            if (v.type() == QVariant::String)
                v = v.toString().replace("$d", m_dir);
        const QMap<QString, std::function<bool(const QVariantMap&)>> ops {
            {"ConcatFiles", FFmpegOps::ConcatFiles}, {"ExtractAudio", FFmpegOps::ExtractAudio},
            {"MergeAudioVideo", FFmpegOps::MergeAudioVideo}, {"PngSeqToVideo", FFmpegOps::PngSeqToVideo},
            {"RemoveSilence", FFmpegOps::RemoveSilence}, {"CutSegment", FFmpegOps::CutSegment},
            {"VideoToPngSeq", FFmpegOps::VideoToPngSeq},
            {"JpgSeqToVideo", [](const QVariantMap& a) { FFmpegOps::JpgSeqToVideo(a["inDir"].toString(), a["outFile"].toString());
                                                         return QFile::exists(a["outFile"].toString()); }},
            {"DetectSilence", [](const QVariantMap& a) { FFmpegOps::DetectInfo info;
                                                         return FFmpegOps::DetectSilence(a, &info), info.outcome == CProcessWork::Outcome::Ok; }}};
        QCOMPARE(ops[op](args), !exec.isEmpty());
        QCOMPARE(TestHost::LogsWith(" exec ").replaceInStrings(QRegularExpression("^.* CProcessWork::StartTask Info exec "), ""),
                 exec.isEmpty() ? QStringList() : QStringList {exec.replace("$d", m_dir)});
        if (!gone.isEmpty())
            QVERIFY2(!QDir(m_dir).exists(gone), qPrintable(gone + " should have been removed"));
    }

    void parseSilence_data()
    {
        const auto sd = [](const QString& text) { return "[silencedetect @ 0x55d1171aa9c0] " + text + "\n"; };
        QTest::addColumn<QString>("report");
        QTest::addColumn<QString>("expected");
        // As ffmpeg 5.1 writes it, the progress line ending in a bare "\r" right before the
        // report; then a silence from 0 that ffmpeg closes after its summary.
        QTest::newRow("real capture")
            << "size=N/A time=00:00:00.04 bitrate=N/A speed=4.64e+04x    \r" + sd("silence_start: 1.99991")
                + sd("silence_end: 4.00011 | silence_duration: 2.0002")
                + "video:0kB audio:517kB subtitle:0kB other streams:0kB global headers:0kB muxing overhead: unknown\n"
                + sd("silence_start: 0") + sd("silence_end: 1.5 | silence_duration: 1.5")
            << "1.99991-4.00011|0-1.5";
        QTest::newRow("second start ignored while pending, trailing start dropped")
            << sd("silence_start: 1") + sd("silence_start: 2") + sd("silence_end: 3") + sd("silence_start: 5")
            << "1-3";
        QTest::newRow("end equal to start clears the pending start")
            << sd("silence_start: 2") + sd("silence_end: 2") + sd("silence_end: 5") + sd("silence_start: 3")
                + sd("silence_end: 4")
            << "3-4";
        // Neither a negative start nor a negative end counts; the pending start survives the latter.
        QTest::newRow("negative numbers skipped")
            << sd("silence_start: -0.02") + sd("silence_end: 1.5") + sd("silence_start: 3") + sd("silence_end: -2")
                + sd("silence_end: 4")
            << "3-4";
        // As the Windows build writes it.
        QTest::newRow("CRLF and blank lines") << sd("silence_start: 1\r\n\r") + sd("silence_end: 2\r") << "1-2";
    }
    void parseSilence()
    {
        QFETCH(QString, report);
        QFETCH(QString, expected);
        QStringList got; // "start-end" per silence
        for (const QVariant& v : FFmpegOps::ParseSilence(report))
            got << QString::number(v.toMap()["startTs"].toDouble()) + "-" + QString::number(v.toMap()["endTs"].toDouble());
        QCOMPARE(got.join('|'), expected);
    }

    // The last progress line counts; the real decoding and detection, the outcomes and the
    // program lookup are driven through the voice detection work's tests.
    void decodedSeconds()
    {
        QCOMPARE(FFmpegOps::ParseDecodedSeconds("size=N/A time=00:00:00.20 x\rLsize=N/A time=01:02:04.90 bitrate"), 3724.9);
        QCOMPARE(FFmpegOps::ParseDecodedSeconds("Duration: 00:00:10.00, no progress"), -1.0);
    }
};

QTEST_GUILESS_MAIN(TestFFmpegOps)
#include "tst_ffmpegops.moc"
