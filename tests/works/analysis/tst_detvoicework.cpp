// Voice detection: the segment computation on its own, then whole runs through the
// library object on a recording whose silences are known to the sample.

#include "TestFiles.h"
#include "TestHost.h"
#include "base/PubUtils.h"
#include "works/analysis/CDetVoiceWork.h"

#include <QtTest>

#include <sys/stat.h>

namespace {

// Ten seconds of picture and tone, the tone silenced from 2 to 4 s and 6 to 8 s.
bool MakeMedia(const QString& path, const QStringList& codecs = {"-c:a", "pcm_s16le"})
{
    return QProcess::execute("ffmpeg", QStringList{"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=10",
                                                   "-f", "lavfi", "-i", "aevalsrc='if(between(t,2,4)+between(t,6,8),0,0.5*sin(2*PI*440*t))':s=16000:d=10",
                                                   "-c:v", "libx264"} + codecs + QStringList{path}) == 0;
}

// A stand-in ffmpeg: reports one silence (2..4 s of 10) and fails every cut, or kills itself.
const char kCutFails[] = "#!/bin/sh\ncase \"$*\" in *silencedetect*)\n"
                         "  printf '[silencedetect @ 0x1] silence_start: 2\\n[silencedetect @ 0x1] silence_end: 4 | "
                         "silence_duration: 2\\nsize=N/A time=00:00:10.00 bitrate=N/A\\n' >&2; exit 0;;\nesac\nexit 1\n";
const char kKilled[] = "#!/bin/sh\nkill -9 $$\n";

CDetWork* g_pRunning = nullptr;
int g_nFinished = 0;
bool g_bJoinedInside = false;

// A rude host: stops the work at its first progress, joins it from the finished message.
void RudeHost(WorkLibRs kind, const QVariant&)
{
    if (kind == WorkLibRs_Progress)
        g_pRunning->StopWork();
    if (kind == WorkLibRs_Finished) {
        ++g_nFinished;
        g_bJoinedInside = g_pRunning->JoinWork(60000);
    }
}

} // namespace

class TstDetVoiceWork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sMedia;

    static QVariantMap Params(const QString& file, const QString& saveDir, bool merge = false)
    {
        return {{"sFile", file}, {"sSaveDir", saveDir}, {"nDuration", 10}, {"nDecibel", 30}, {"dMinSec", 1.0}, {"bMergeVideo", merge}};
    }

    static QVariantMap Run(const QVariantMap& params) { return TestHost::RunWork(5, params); }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        m_sMedia = m_tmp.filePath("talk.mkv");
        QVERIFY2(MakeMedia(m_sMedia), "ffmpeg must be able to make the test recording");
    }

    void segments_data()
    {
        QTest::addColumn<QVariantList>("silences");
        QTest::addColumn<double>("minSec");
        QTest::addColumn<double>("mediaEnd");
        QTest::addColumn<QVariantList>("expected");
        const QVariantList two = TestHost::Spans({{2.0, 3.0}, {5.0, 9.0}});
        QTest::newRow("keeps all three") << two << 1.5 << -1.0 << TestHost::Spans({{0, 2.0}, {3.0, 5.0}, {9.0, 13}});
        QTest::newRow("exact length dropped") << two << 2.0 << -1.0 << TestHost::Spans({{9.0, 13}});
        QTest::newRow("negative min") << TestHost::Spans({{0, 1.5}}) << -0.5 << -1.0 << TestHost::Spans({{0, 0}, {1.5, 13}});
        QTest::newRow("whole file keeps the extra second") << two << 1.5 << 12.4 << TestHost::Spans({{0, 2.0}, {3.0, 5.0}, {9.0, 13}});
        QTest::newRow("truncated file ends with its data") << two << 1.5 << 11.0 << TestHost::Spans({{0, 2.0}, {3.0, 5.0}, {9.0, 11.0}});
        QTest::newRow("truncated tail too short") << two << 1.5 << 10.0 << TestHost::Spans({{0, 2.0}, {3.0, 5.0}});
        QTest::newRow("no silence, no segment") << QVariantList() << 0.0 << -1.0 << QVariantList();
    }

    void segments()
    {
        QFETCH(QVariantList, silences);
        QFETCH(double, minSec);
        QFETCH(double, mediaEnd);
        QFETCH(QVariantList, expected);
        QCOMPARE(CDetVoiceWork::ComputeSegments(silences, minSec, 12, mediaEnd), expected);
    }

    // Odd names reach ffmpeg as absolute paths: a leading dash, spaces, non-ASCII, relative.
    void cutsVoicedStretches()
    {
        const QString name = "-i Grüße 声音 1", folder = m_tmp.filePath("-out dir/" + name);
        QVERIFY(QFile::copy(m_sMedia, m_tmp.filePath(name + ".mkv")));
        const QString cwd = QDir::currentPath();
        QDir::setCurrent(m_tmp.path());
        const QVariantMap res = Run(Params(name + ".mkv", "-out dir", true));
        QDir::setCurrent(cwd);
        QCOMPARE(res, (QVariantMap{{"resMsg", ""}, {"nFindNum", 3}, {"sOutDir", folder}}));
        QCOMPARE(TestFiles::Read(folder + "/" + name + ".csv"),
                 QString("file,start,end,duration\n0,000000,000002,2\n1,000004,000006,1.99994\n2,000008,000011,2.99994\n"));
        QCOMPARE(TestFiles::Read(folder + "/tmp_concat.txt"), QString("000000-0.mp4\n000004-1.mp4\n000008-2.mp4\n"));
        for (const char* file : {"/000000-0.mp4", "/000004-1.mp4", "/000008-2.mp4"})
            QVERIFY2(QFileInfo(folder + file).size() > 0, file);
        // The list holds bare names, which ffmpeg's concat reader refuses: no merged file.
        QVERIFY(!QFileInfo::exists(folder + "/azr-" + name + ".mp4"));
        QCOMPARE(TestHost::Positions(), (QList<int>{0, 33, 66}));
    }

    // Its index says 10 s, its data stops at 6.3 s: the last stretch ends with the data.
    void truncatedFileEndsWithItsData()
    {
        const QString whole = m_tmp.filePath("whole.mp4"), cut = m_tmp.filePath("cut.mp4");
        QVERIFY(MakeMedia(whole, {"-c:a", "aac", "-movflags", "+faststart"}));
        QVERIFY(QFile::copy(whole, cut) && QFile::resize(cut, QFileInfo(whole).size() * 7 / 10));
        QCOMPARE(Run(Params(cut, m_tmp.filePath("cutout"))).value("nFindNum").toInt(), 2);
        QCOMPARE(TestFiles::Read(m_tmp.filePath("cutout/cut/cut.csv")),
                 QString("file,start,end,duration\n0,000000,000002,2\n1,000004,000006,2.29994\n"));
    }

    // Quotes make a base name unusable as a folder name: the counter-named folder is used then.
    void quotedName()
    {
        const QString saveDir = m_tmp.filePath("quoted"), file = m_tmp.filePath("it's \"quoted\".mkv");
        QVERIFY(QFile::copy(m_sMedia, file));
        const QVariantMap res = Run(Params(file, saveDir));
        const QStringList made = QDir(saveDir).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QVERIFY2(made.size() == 1 && made.first().startsWith("detvoice"), qPrintable(made.join(',')));
        QCOMPARE(res, (QVariantMap{{"resMsg", ""}, {"nFindNum", 3}, {"sOutDir", saveDir + "/" + made.first()}}));
        QCOMPARE(QDir(saveDir + "/" + made.first()).entryList({"*.mp4"}).size(), 3);
    }

    // Every failure ends the run with one finished map naming it and leaves no result folder.
    void failures_data()
    {
        QTest::addColumn<QString>("input"); // "<none>", "<fifo>", "<media>" or the content
        QTest::addColumn<QString>("saveDir"); // below the case's folder; empty stays empty
        QTest::addColumn<QByteArray>("ffmpeg"); // a stand-in beside the application; "-" for none anywhere
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("missing") << "<none>" << "out" << QByteArray() << "read_input_failed";
        QTest::newRow("not media") << "just text\n" << "out" << QByteArray() << "read_input_failed";
        QTest::newRow("fifo") << "<fifo>" << "out" << QByteArray() << "read_input_failed";
        QTest::newRow("save dir below a file") << "<media>" << "plain/out" << QByteArray() << "save_dir_failed";
        QTest::newRow("no save dir") << "<media>" << "" << QByteArray() << "save_dir_failed";
        QTest::newRow("no ffmpeg") << "<media>" << "out" << QByteArray("-") << "ffmpeg_not_found";
        QTest::newRow("ffmpeg killed while detecting") << "<media>" << "out" << QByteArray(kKilled) << "ffmpeg_failed";
        QTest::newRow("every cut fails") << "<media>" << "out" << QByteArray(kCutFails) << "cut_failed";
    }

    void failures()
    {
        QFETCH(QString, input);
        QFETCH(QString, saveDir);
        QFETCH(QByteArray, ffmpeg);
        QFETCH(QString, resMsg);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir) && TestFiles::Write(dir + "/plain", "x"));
        const QString file = input == "<media>" ? m_sMedia : dir + "/input.mp4";
        if (input == "<fifo>")
            QCOMPARE(mkfifo(QFile::encodeName(file).constData(), 0600), 0);
        else if (!input.startsWith('<'))
            QVERIFY(TestFiles::Write(file, input.toUtf8()));
        const QByteArray path = qgetenv("PATH");
        WorkBaseData::PubUtils::SetAppDir(dir);
        if (ffmpeg == "-")
            qputenv("PATH", dir.toUtf8()); // no ffmpeg beside the application, nor on the PATH
        else if (!ffmpeg.isEmpty())
            QVERIFY(TestFiles::Write(dir + "/ffmpeg", ffmpeg, true));
        const QVariantMap res = Run(Params(file, saveDir.isEmpty() ? QString() : dir + "/" + saveDir));
        qputenv("PATH", path);
        WorkBaseData::PubUtils::SetAppDir(QString());
        QCOMPARE(res.value("resMsg").toString(), resMsg);
        QVERIFY2(QDir(dir + "/out").isEmpty(), "a failed run leaves no result folder behind");
    }

    // A name taken (here by a file), or by an earlier run, gives a new folder: runs never mix.
    void takenNameGetsANewFolder()
    {
        const QString saveDir = m_tmp.filePath("blocked");
        QVERIFY(QDir().mkpath(saveDir) && TestFiles::Write(saveDir + "/talk", "")); // a file where the folder should go
        for (const QString name : {"talk_1", "talk_2"}) {
            QCOMPARE(Run(Params(m_sMedia, saveDir)).value("sOutDir").toString(), saveDir + "/" + name);
            QCOMPARE(TestFiles::Read(saveDir + "/" + name + "/" + name + ".csv").count('\n'), 4);
        }
    }

    // A stop at the first cut ends the run: no further cut, no merge, and the join inside returns.
    void stopAndRudeHost()
    {
        const QString saveDir = m_tmp.filePath("stopped"), folder = saveDir + "/talk";
        WorkBaseData::CData::GetInstance()->Init(&RudeHost, QVariantMap());
        g_pRunning = m_pLib->CreateWork(5);
        g_pRunning->SetParams(Params(m_sMedia, saveDir, true));
        g_pRunning->StartWork();
        g_pRunning->JoinWork(120000);
        const QVariantMap res = static_cast<CDetVoiceWork*>(g_pRunning)->Result();
        m_pLib->ReleaseWork(g_pRunning);
        TestHost::Install({{"appData", m_tmp.path()}});
        QCOMPARE(g_nFinished, 1);
        QVERIFY(g_bJoinedInside);
        QCOMPARE(res, (QVariantMap{{"resMsg", "task_stopped"}, {"nFindNum", 1}, {"sOutDir", folder}}));
        QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList({"000000-0.mp4", "talk.csv"}));
    }

    // Released mid-run: the library stops the work and waits for it instead of aborting.
    void releaseWhileRunning()
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(5);
        work->SetParams(Params(m_sMedia, m_tmp.filePath("released")));
        work->StartWork();
        QTRY_VERIFY(!TestHost::LogsWith("exec -y -ss").isEmpty());
        QVERIFY(m_pLib->ReleaseWork(work));
        QCOMPARE(TestHost::LogsWith("CDetVoiceWork::ReleaseWork Warn>> released while running: stopping and waiting").size(), 1);
        QCOMPARE(TestHost::Count(WorkLibRs_Finished), 1);
        QCOMPARE(TestHost::Of(WorkLibRs_Finished).first().toMap()["res_data"].toMap()["resMsg"].toString(), "task_stopped");
    }
};

QTEST_GUILESS_MAIN(TstDetVoiceWork)
#include "tst_detvoicework.moc"
