// The ffmpeg operations against the real ffmpeg on tiny generated media, plus a fake
// ffmpeg where the program lookup or a failing run must be forced.
#include "TestHost.h"
#include "base/PubUtils.h"
#include "work/FFmpegOps.h"

#include <QtTest>

using WorkBaseData::PubUtils;

class TestFFmpegOps : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void operations_data();
    void operations();
    void detectSilence();
    void detectSilenceFilter_data();
    void detectSilenceFilter();
    void jpgSeqToVideo();
    void jpgSeqEmptyFolder();
    void awkwardNames();
    void programLookup();
    void fakeReport_data();
    void fakeReport();
    void missingFFmpeg();

private:
    QString path(const QString& name) const { return m_tmp.filePath(name); }

    QTemporaryDir m_tmp;
    QString m_video;     // 64x48 h264 + aac, 2 s
    QString m_videoOnly; // 64x48 h264, no sound
    QString m_audio;     // aac, 2 s
    QString m_voice;     // wav: tone 0-2 s, silence 2-4 s, tone 4-6 s
    QByteArray m_path;
};

namespace {

bool run(const QString& program, const QStringList& args, QString* out = nullptr)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
        return false;
    if (out)
        *out = QString::fromUtf8(p.readAllStandardOutput()).trimmed();
    return true;
}

bool ff(const QStringList& args)
{
    return run("ffmpeg", QStringList {"-hide_banner", "-loglevel", "error", "-y"} + args);
}

QString probe(const QString& file, const QString& entries)
{
    QString out;
    run("ffprobe", {"-v", "error", "-count_frames", "-show_entries", entries, "-of", "csv=p=0", file}, &out);
    return out;
}

// The argument text of every "exec" line, in order.
QStringList execs()
{
    const QString tag = QStringLiteral("CProcessWork::StartTask Info exec ");
    QStringList out;
    for (const QString& line : TestHost::LogsWith(tag))
        out << line.mid(line.indexOf(tag) + tag.size());
    return out;
}

// A stand-in ffmpeg that records its argv, one per line, and prints a canned report.
bool writeFake(const QString& dir, const QString& report, int exitCode)
{
    QFile f(dir + "/ffmpeg");
    if (!f.open(QIODevice::WriteOnly))
        return false;
    f.write(QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$(dirname \"$0\")/args.txt\"\n"
                           "cat >&2 <<'ZRW_END'\n%1\nZRW_END\nexit %2\n")
                .arg(report)
                .arg(exitCode)
                .toUtf8());
    f.close();
    return f.setPermissions(f.permissions() | QFile::ExeOwner);
}

QStringList recordedArgs(const QString& dir)
{
    QFile f(dir + "/args.txt");
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(f.readAll()).split('\n', Qt::SkipEmptyParts);
}

using Op = bool (*)(const QVariantMap&);

} // namespace

void TestFFmpegOps::initTestCase()
{
    QVERIFY2(!QStandardPaths::findExecutable("ffmpeg").isEmpty(), "these tests drive the real ffmpeg");
    QVERIFY(m_tmp.isValid());
    m_path = qgetenv("PATH");
    m_video = path("video.mp4");
    m_videoOnly = path("videoonly.mp4");
    m_audio = path("audio.m4a");
    m_voice = path("voice.wav");
    const QString src = "testsrc=size=64x48:rate=10:duration=2";
    const QString tone = "sine=frequency=440:duration=2:sample_rate=8000";
    QVERIFY(ff({"-f", "lavfi", "-i", src, "-f", "lavfi", "-i", tone, "-c:v", "libx264", "-pix_fmt", "yuv420p",
                "-c:a", "aac", "-shortest", m_video}));
    QVERIFY(ff({"-f", "lavfi", "-i", src, "-c:v", "libx264", "-pix_fmt", "yuv420p", m_videoOnly}));
    QVERIFY(ff({"-f", "lavfi", "-i", tone, "-c:a", "aac", m_audio}));
    QVERIFY(ff({"-f", "lavfi", "-i", tone, "-f", "lavfi", "-i", "anullsrc=r=8000:cl=mono:d=2", "-f", "lavfi", "-i",
                tone, "-filter_complex", "[0][1][2]concat=n=3:v=0:a=1", m_voice}));

    // A concat list naming two copies of the video, relative to its folder.
    QVERIFY(QDir().mkpath(path("concat")));
    QVERIFY(QFile::copy(m_video, path("concat/a.mp4")) && QFile::copy(m_video, path("concat/b.mp4")));
    QFile list(path("concat/tmp_concat.txt"));
    QVERIFY(list.open(QIODevice::WriteOnly) && list.write("file 'a.mp4'\nfile 'b.mp4'\n") > 0);
    // Picture sequences of odd size: the pad filter must make them even for libx264.
    for (const char* dir : {"pngs_keep", "pngs_rm", "pngs_inside"}) {
        QVERIFY(QDir().mkpath(path(dir)));
        QVERIFY(ff({"-f", "lavfi", "-i", "testsrc=size=63x47:rate=15", "-frames:v", "4", path(dir) + "/%8d.png"}));
    }
}

void TestFFmpegOps::init()
{
    TestHost::Install();
}

void TestFFmpegOps::cleanup()
{
    PubUtils::SetAppDir(QString());
    qputenv("PATH", m_path);
}

void TestFFmpegOps::operations_data()
{
    QTest::addColumn<QString>("op");
    QTest::addColumn<QVariantMap>("args");
    QTest::addColumn<QString>("exec"); // empty: ffmpeg must not run
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("probeEntries"); // probed on the "outFile"
    QTest::addColumn<QString>("probed");       // a pattern for the whole probe output
    QTest::addColumn<QString>("gone");         // must not exist afterwards

    const QString cut = path("cut.mp4");
    const QString enc = "-y -ss 0.5 -to 1.5 -i " + m_video + " -vsync 0 -acodec aac -vcodec libx264 " + cut;
    QTest::newRow("CutSegment without bFast") << "CutSegment"
        << QVariantMap {{"inFile", m_video}, {"outFile", cut}, {"startTime", "0.5"}, {"endTime", "1.5"}}
        << enc << true << "stream=codec_name" << "h264\naac" << "";
    QTest::newRow("CutSegment bFast false") << "CutSegment"
        << QVariantMap {{"inFile", m_video}, {"outFile", cut}, {"startTime", "0.5"}, {"endTime", "1.5"},
                        {"bFast", false}}
        << enc << true << "stream=codec_name" << "h264\naac" << "";
    QTest::newRow("CutSegment bFast true") << "CutSegment"
        << QVariantMap {{"inFile", m_video}, {"outFile", cut}, {"startTime", "0.5"}, {"endTime", "1.5"},
                        {"bFast", true}}
        << "-y -ss 0.5 -to 1.5 -copyts -i " + m_video + " -vsync 0 -acodec copy -vcodec copy " + cut << true
        << "stream=codec_name" << "h264\naac" << "";

    QTest::newRow("ExtractAudio PCM16") << "ExtractAudio"
        << QVariantMap {{"inFile", m_video}, {"outFile", path("a.wav")}, {"aType", "PCM16"}}
        << "-y -i " + m_video + " -vn -acodec pcm_s16le -ac 1 -ar 16000 " + path("a.wav") << true
        << "stream=codec_name,sample_rate,channels" << "pcm_s16le,16000,1" << "";
    QTest::newRow("ExtractAudio pcm16 copies") << "ExtractAudio"
        << QVariantMap {{"inFile", m_video}, {"outFile", path("b.m4a")}, {"aType", "pcm16"}}
        << "-y -i " + m_video + " -vn -acodec copy " + path("b.m4a") << true
        << "stream=codec_name,sample_rate,channels" << "aac,8000,1" << "";
    QTest::newRow("ExtractAudio missing input") << "ExtractAudio"
        << QVariantMap {{"inFile", path("missing.mp4")}, {"outFile", path("c.m4a")}}
        << "-y -i " + path("missing.mp4") + " -vn -acodec copy " + path("c.m4a") << false << "" << "" << "";

    QTest::newRow("MergeAudioVideo") << "MergeAudioVideo"
        << QVariantMap {{"inFile", m_videoOnly}, {"inFile2", m_audio}, {"outFile", path("merged.mp4")}}
        << "-y -i " + m_videoOnly + " -i " + m_audio + " -vsync 0 -acodec copy -vcodec copy " + path("merged.mp4")
        << true << "stream=codec_name" << "h264\naac" << "";

    QTest::newRow("RemoveSilence") << "RemoveSilence"
        << QVariantMap {{"inFile", m_voice}, {"outFile", path("nosilence.wav")}}
        << "-y -i " + m_voice + " -af silenceremove=stop_periods=-1:stop_duration=1:stop_threshold=-30dB "
            + path("nosilence.wav")
        << true << "format=duration" << "(3\\.[5-9]|4\\.)\\d*" << "";

    const QString frames = path("frames/nested");
    QTest::newRow("VideoToPngSeq makes the folder") << "VideoToPngSeq"
        << QVariantMap {{"inFile", m_video}, {"saveDir", frames}, {"outFile", frames + "/00000030.png"}}
        << "-y -i " + m_video + " -r 15 " + frames + "/%8d.png" << true << "stream=codec_name,width,height"
        << "png,64,48" << frames + "/00000032.png";

    const QString concat = path("concat");
    QTest::newRow("ConcatFiles") << "ConcatFiles"
        << QVariantMap {{"inFile", QStringList {"tmp_concat.txt"}}, {"outFile", concat + "/joined.mp4"},
                        {"workPath", concat}}
        << "-y -f concat -safe 0 -i tmp_concat.txt -acodec copy -vcodec copy " + concat + "/joined.mp4" << true
        << "format=duration" << "(3\\.[7-9]|4\\.[0-2])\\d*" << "";
    QTest::newRow("ConcatFiles no list") << "ConcatFiles"
        << QVariantMap {{"inFile", QStringList()}, {"outFile", concat + "/x.mp4"}, {"workPath", concat}} << ""
        << false << "" << "" << "";
    QTest::newRow("ConcatFiles no output") << "ConcatFiles"
        << QVariantMap {{"inFile", "tmp_concat.txt"}, {"workPath", concat}} << "" << false << "" << "" << "";
    QTest::newRow("ConcatFiles no working dir") << "ConcatFiles"
        << QVariantMap {{"inFile", "tmp_concat.txt"}, {"outFile", concat + "/x.mp4"}} << "" << false << "" << ""
        << "";

    const QString pad = " -vf pad=ceil(iw/2)*2:ceil(ih/2)*2 -pix_fmt yuv420p -vcodec libx264 ";
    QTest::newRow("PngSeqToVideo keeps pictures") << "PngSeqToVideo"
        << QVariantMap {{"inDir", path("pngs_keep")}, {"outFile", path("keep.mp4")}}
        << "-y -r 15 -i " + path("pngs_keep") + "/%8d.png" + pad + path("keep.mp4") << true
        << "stream=width,height,pix_fmt,nb_read_frames" << "64,48,yuv420p,4" << "";
    QTest::newRow("PngSeqToVideo removes pictures") << "PngSeqToVideo"
        << QVariantMap {{"inDir", path("pngs_rm")}, {"outFile", path("rm.mp4")}, {"bRmInDir", true}}
        << "-y -r 15 -i " + path("pngs_rm") + "/%8d.png" + pad + path("rm.mp4") << true
        << "stream=width,height,pix_fmt,nb_read_frames" << "64,48,yuv420p,4" << path("pngs_rm");
    // The folder goes before the existence test, taking an output written into it along.
    QTest::newRow("PngSeqToVideo output inside removed folder") << "PngSeqToVideo"
        << QVariantMap {{"inDir", path("pngs_inside")}, {"outFile", path("pngs_inside/in.mp4")}, {"bRmInDir", true}}
        << "-y -r 15 -i " + path("pngs_inside") + "/%8d.png" + pad + path("pngs_inside/in.mp4") << false << ""
        << "" << path("pngs_inside");
}

void TestFFmpegOps::operations()
{
    QFETCH(QString, op);
    QFETCH(QVariantMap, args);
    QFETCH(QString, exec);
    QFETCH(bool, result);
    QFETCH(QString, probeEntries);
    QFETCH(QString, probed);
    QFETCH(QString, gone);

    static const QMap<QString, Op> ops {
        {"ConcatFiles", &FFmpegOps::ConcatFiles}, {"ExtractAudio", &FFmpegOps::ExtractAudio},
        {"MergeAudioVideo", &FFmpegOps::MergeAudioVideo}, {"PngSeqToVideo", &FFmpegOps::PngSeqToVideo},
        {"RemoveSilence", &FFmpegOps::RemoveSilence}, {"CutSegment", &FFmpegOps::CutSegment},
        {"VideoToPngSeq", &FFmpegOps::VideoToPngSeq}};
    QCOMPARE(ops.value(op)(args), result);
    QCOMPARE(execs(), exec.isEmpty() ? QStringList() : QStringList {exec});
    if (!probeEntries.isEmpty()) {
        const QString out = probe(args.value("outFile").toString(), probeEntries);
        QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(probed)).match(out).hasMatch(),
                 qPrintable("probe gave " + out));
    }
    if (!gone.isEmpty())
        QVERIFY2(!QFileInfo::exists(gone), qPrintable(gone + " should not be there"));
}

void TestFFmpegOps::detectSilence()
{
    bool bOk = false;
    const QVariantList list =
        FFmpegOps::DetectSilence({{"inFile", m_voice}, {"nDecibel", 30}, {"nDuration", 1}}, &bOk).toList();
    QVERIFY(bOk);
    QCOMPARE(execs(), QStringList {"-i " + m_voice + " -af silencedetect=noise=-30dB:duration=1 -f null -"});
    QCOMPARE(list.size(), 1);
    const QVariantMap m = list.first().toMap();
    QVERIFY2(qAbs(m.value("startTs").toDouble() - 2.0) < 0.05, qPrintable(m.value("startTs").toString()));
    QVERIFY2(qAbs(m.value("endTs").toDouble() - 4.0) < 0.05, qPrintable(m.value("endTs").toString()));

    bOk = true;
    QVERIFY(FFmpegOps::DetectSilence({{"inFile", path("missing.wav")}}, &bOk).toList().isEmpty());
    QVERIFY2(!bOk, "a missing input makes ffmpeg fail");
}

void TestFFmpegOps::detectSilenceFilter_data()
{
    QTest::addColumn<QVariantMap>("args");
    QTest::addColumn<QString>("filter");
    QTest::newRow("zeros raised to 1") << QVariantMap {{"nDecibel", 0}, {"nDuration", 0}}
                                       << "silencedetect=noise=-1dB:duration=1";
    QTest::newRow("negative raised to 1") << QVariantMap {{"nDecibel", -20}, {"nDuration", -3}}
                                          << "silencedetect=noise=-1dB:duration=1";
    QTest::newRow("as given") << QVariantMap {{"nDecibel", 30}, {"nDuration", 2}}
                              << "silencedetect=noise=-30dB:duration=2";
}

void TestFFmpegOps::detectSilenceFilter()
{
    QFETCH(QVariantMap, args);
    QFETCH(QString, filter);
    args.insert("inFile", m_voice);
    FFmpegOps::DetectSilence(args);
    QCOMPARE(execs(), QStringList {"-i " + m_voice + " -af " + filter + " -f null -"});
}

void TestFFmpegOps::jpgSeqToVideo()
{
    const QString pics = path("jpgs");
    QVERIFY(QDir().mkpath(pics));
    QVERIFY(ff({"-f", "lavfi", "-i", "testsrc=size=63x47:rate=5", "-frames:v", "3", pics + "/pic %d.jpg"}));
    const QString out = path("jpgs.mp4");
    FFmpegOps::JpgSeqToVideo(pics, out);
    QCOMPARE(execs(), QStringList {"-y -r 5 -i " + pics + "/tmppiczr/%d.jpg -vf pad=ceil(iw/2)*2:ceil(ih/2)*2 "
                                   "-vcodec libx264 " + out});
    QCOMPARE(probe(out, "stream=width,height,nb_read_frames"), QString("64,48,3"));
    QVERIFY2(!QFileInfo::exists(pics + "/tmppiczr"), "the renamed copies are removed");
    QCOMPARE(PubUtils::ListFiles(pics).size(), 3);
}

void TestFFmpegOps::jpgSeqEmptyFolder()
{
    const QString pics = path("nopics");
    QVERIFY(QDir().mkpath(pics));
    FFmpegOps::JpgSeqToVideo(pics, path("nopics.mp4"));
    QVERIFY(!QFileInfo::exists(pics));
    QVERIFY(execs().isEmpty());
}

void TestFFmpegOps::awkwardNames()
{
    const QString dir = path("dir with space 'q' \"dq\" ü");
    QVERIFY(QDir().mkpath(dir));
    const QString in = dir + "/-in é 'x'.wav";
    const QString out = dir + "/-out \"ü\".wav";
    QVERIFY(QFile::copy(m_voice, in));
    QVERIFY(FFmpegOps::ExtractAudio({{"inFile", in}, {"outFile", out}, {"aType", "PCM16"}}));
    QCOMPARE(probe(out, "stream=codec_name,sample_rate,channels"), QString("pcm_s16le,16000,1"));
    QCOMPARE(FFmpegOps::DetectSilence({{"inFile", in}, {"nDecibel", 30}}).toList().size(), 1);
}

void TestFFmpegOps::programLookup()
{
    QTemporaryDir withFake;
    QTemporaryDir without;
    QVERIFY(writeFake(withFake.path(), "", 0));

    PubUtils::SetAppDir(withFake.path());
    QCOMPARE(FFmpegOps::FFmpegPath(), withFake.path() + "/ffmpeg");
    // Each path reaches the program as one argument: no shell, no added quoting.
    const QString in = path("dir with space/-in 'q' \"dq\" é.mp4");
    const QString out = path("dir with space/-out.mp4");
    QVERIFY2(!FFmpegOps::CutSegment({{"inFile", in}, {"outFile", out}, {"startTime", "1"}, {"endTime", "2.5"},
                                     {"bFast", true}}),
             "the fake writes nothing, so there is no output to find");
    QCOMPARE(recordedArgs(withFake.path()), (QStringList {"-y", "-ss", "1", "-to", "2.5", "-copyts", "-i", in,
                                                          "-vsync", "0", "-acodec", "copy", "-vcodec", "copy", out}));

    PubUtils::SetAppDir(without.path());
    QCOMPARE(FFmpegOps::FFmpegPath(), QStandardPaths::findExecutable("ffmpeg"));
}

void TestFFmpegOps::fakeReport_data()
{
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<int>("intervals");
    QTest::newRow("exit 0 is parsed") << 0 << 1;
    // A failing ffmpeg has had its report drained into the log already.
    QTest::newRow("exit 1 leaves nothing") << 1 << 0;
}

void TestFFmpegOps::fakeReport()
{
    QFETCH(int, exitCode);
    QFETCH(int, intervals);
    QTemporaryDir dir;
    QVERIFY(writeFake(dir.path(), "size=N/A time=00:00:03.00 bitrate=N/A speed= 500x    \r"
                                  "[silencedetect @ 0x55aa] silence_start: 2\n"
                                  "[silencedetect @ 0x55aa] silence_end: 4 | silence_duration: 2",
                      exitCode));
    PubUtils::SetAppDir(dir.path());
    bool bOk = exitCode != 0;
    QCOMPARE(FFmpegOps::DetectSilence({{"inFile", m_voice}}, &bOk).toList().size(), intervals);
    QCOMPARE(bOk, exitCode == 0);
}

void TestFFmpegOps::missingFFmpeg()
{
    QTemporaryDir empty;
    PubUtils::SetAppDir(empty.path());
    qputenv("PATH", empty.path().toUtf8());
    QCOMPARE(FFmpegOps::FFmpegPath(), empty.path() + "/ffmpeg");
    bool bOk = true;
    QVERIFY(FFmpegOps::DetectSilence({{"inFile", m_voice}, {"nDecibel", 30}}, &bOk).toList().isEmpty());
    QVERIFY2(!bOk, "ffmpeg never ran");
    QVERIFY(!FFmpegOps::ExtractAudio({{"inFile", m_video}, {"outFile", path("never.wav")}}));
    QCOMPARE(TestHost::LogsWith("CProcessWork::processError Warn>> process parame").size(), 2);
    QCOMPARE(TestHost::LogsWith("error code 0").size(), 2);
}

QTEST_GUILESS_MAIN(TestFFmpegOps)
#include "tst_ffmpegops.moc"
