// zrwork as a user runs it: real process, real library, real ffmpeg.

#include "PlayClip.h"
#include "TestFiles.h"
#include "ZrworkProcess.h"
#include "core/WorkTypes.h"
#include "store/CDBStore.h"

#include <QSqlQuery>

#include <QtTest>

#include <csignal>
#include <sys/stat.h>

namespace {

// The tool the work was given ("sWorkExc" as the run reports it).
QString Exc(const ZrworkResult& r)
{
    return r.Json().value("user_data").toMap().value("sWorkExc").toString();
}

// A picture with a tone that sounds for 2 s out of every 4.
bool MakeMedia(const QString& path, int seconds)
{
    return QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", QString("testsrc=size=160x120:rate=10:duration=%1").arg(seconds),
                                        "-f", "lavfi", "-i", QString("aevalsrc='if(lt(mod(t,4),2),0.5*sin(2*PI*440*t),0)':s=16000:d=%1").arg(seconds),
                                        "-c:v", "libx264", "-c:a", "aac", path}) == 0;
}

} // namespace

class TstZrwork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    const QString m_sBin = ZrworkBin();

private Q_SLOTS:
    void types()
    {
        const ZrworkResult r = Zrwork({"types"});
        QCOMPARE(r.status, 0);
        const QStringList lines = QString::fromUtf8(r.out).split('\n', Qt::SkipEmptyParts);
        // One line a row of the work table, each available in the library zrwork runs on.
        QCOMPARE(lines.size(), int(std::size(kWorkTypes)));
        QCOMPARE(lines.filter(" available ").size(), lines.size());
        QCOMPARE(lines.filter(QRegularExpression("^ 5 ")),
                 QStringList{" 5  CDetVoiceWork          analysis     voice      available   cuts a recording into its voiced stretches, lists them in a CSV"});
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("nothing") << QStringList();
        QTest::newRow("unknown command") << QStringList{"frobnicate"};
        QTest::newRow("type not a number") << QStringList{"run", "five"};
        QTest::newRow("mistyped parameter") << QStringList{"run", "5", "--param", "nDecibel=loud"};
        QTest::newRow("type without work") << QStringList{"run", "11"};
        QTest::newRow("voice without save dir") << QStringList{"voice", "x.mp4"};
        QTest::newRow("voice with nan") << QStringList{"voice", "x.mp4", "--save-dir", "d", "--min-sec", "nan"};
        QTest::newRow("list of an unknown model") << QStringList{"list", "--store", ".", "--model", "Face"};
        QTest::newRow("ocr without save dir") << QStringList{"ocr", "x.png"};
        QTest::newRow("docx with an unknown option") << QStringList{"docx", "a.pdf", "--frobnicate", "--save-dir", "out"};
        QTest::newRow("batch with no jobs") << QStringList{"ocr", "a.png", "b.png", "--save-dir", "out", "--jobs", "0"};
        QTest::newRow("join over a batch") << QStringList{"voice", "a.mp4", "b.mp4", "--save-dir", "out", "--join"};
        QTest::newRow("play without input") << QStringList{"play", "--speed", "2"};
        QTest::newRow("play at a negative speed") << QStringList{"play", "x.mp4", "--speed", "-1"};
        QTest::newRow("play frames without times") << QStringList{"play", "x.mp4", "--frames", "d"};
        QTest::newRow("play frames at a bad time") << QStringList{"play", "x.mp4", "--frames", "d", "--at", "1,soon"};
        QTest::newRow("play frames of a device") << QStringList{"play", "/dev/video0", "--frames", "d", "--at", "1"};
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        const ZrworkResult r = Zrwork(args);
        QCOMPARE(r.status, 2);
        QVERIFY2(r.out.isEmpty(), "nothing on stdout when no work ran");
    }

    // A failed work exits 1; a FIFO is refused at once, with no ffprobe left waiting on it.
    void fifoFailsAtOnce()
    {
        QCOMPARE(mkfifo(QFile::encodeName(m_tmp.filePath("fifo")).constData(), 0600), 0);
        const ZrworkResult r = Zrwork({"voice", m_tmp.filePath("fifo"), "--save-dir", m_tmp.path()});
        QCOMPARE(r.status, 1);
        QCOMPARE(r.Json().value("res_data").toMap().value("resMsg").toString(), QString("read_input_failed"));
        QCOMPARE(r.Json().value("nPos").toInt(), 100);
        QVERIFY2(!r.err.contains("QProcess"), r.err.constData());
    }

    // Frames at the asked seconds (past the end: the last), as pictures that tell their
    // frame numbers; a missing input writes none.
    void playFrames()
    {
        const QString clip = m_tmp.filePath("bars clip.mp4"), dir = m_tmp.filePath("frames");
        QVERIFY(PlayClip::Make(clip));
        const ZrworkResult r = Zrwork({"play", clip, "--frames", dir, "--at", "0.5,1.04,9"});
        QVERIFY2(r.status == 0, r.err.constData());
        const QStringList lines = QString::fromUtf8(r.out.mid(r.out.lastIndexOf("}\n") + 2)).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines, (QStringList{dir + "/frame-000500.png\t480\t12", dir + "/frame-001040.png\t1040\t26",
                                     dir + "/frame-009000.png\t1960\t49"}));
        for (const auto& [file, frame] : {std::pair("/frame-000500.png", 12), {"/frame-001040.png", 26}, {"/frame-009000.png", 49}}) {
            const QImage picture(dir + file);
            QVERIFY(PlayClip::ShowsBars(picture));
            QCOMPARE(PlayClip::FrameOf(picture), frame);
        }
        const ZrworkResult missing = Zrwork({"play", m_tmp.filePath("gone.mp4"), "--frames", m_tmp.filePath("none"), "--at", "1"});
        QCOMPARE(missing.status, 1);
        QVERIFY(missing.out.contains("\"resMsg\": \"read_input_failed\""));
        QVERIFY(QDir(m_tmp.filePath("none")).isEmpty());
    }

    // The shipped converter is filled in unless --param names another.
    void documentCommands()
    {
        const QString office = QFileInfo(qEnvironmentVariable("ZRW_BIN_DIR") + "/../worktools/office").canonicalFilePath();
        QCOMPARE(Exc(Zrwork({"pdf", m_tmp.filePath("missing.docx"), "--save-dir", m_tmp.filePath("docs")})), office + "/docx2pdf");
        QCOMPARE(Exc(Zrwork({"docx", m_tmp.filePath("x.pdf"), "--save-dir", m_tmp.filePath("docs"), "--param", "sWorkExc=/bin/false"})),
                 QString("/bin/false"));
    }

    void voice()
    {
        const QString media = m_tmp.filePath("my talk.mp4");
        QVERIFY(MakeMedia(media, 8));
        const ZrworkResult r = Zrwork({"voice", media, "--save-dir", m_tmp.filePath("out"), "--min-sec", "0.5", "--verbose",
                                 "--merge", "--join"});
        QVERIFY2(r.status == 0, r.err.constData());
        const QVariantMap params = r.Json().value("user_data").toMap();
        QCOMPARE(params.value("nDuration").toInt(), 8); // from the media itself
        QCOMPARE(params.value("nDecibel").toInt(), 30);
        QCOMPARE(r.Json().value("res_data").toMap().value("nFindNum").toInt(), 2);
        QVERIFY2(r.err.contains("progress 0/100\n"), "plain progress lines when stderr is not a terminal");
        QVERIFY2(r.err.contains("CProcessWork::StartTask Info exec -i "), "--verbose shows the library's log lines");
        QVERIFY2(r.err.contains("zrwork: --merge produced no joined file"), r.err.constData());
        // --join joins the two cut stretches of 2 s each, in the CSV's order.
        const QString joined = m_tmp.filePath("out/my talk/joined-my talk.mp4");
        QVERIFY2(r.err.contains("joined: " + joined.toUtf8()), r.err.constData());
        QProcess probe;
        probe.start("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", joined});
        QVERIFY(probe.waitForFinished());
        QCOMPARE(qRound(probe.readAllStandardOutput().trimmed().toDouble()), 4);
    }

    void listsTheCatalogue()
    {
        const QString store = m_tmp.filePath("store");
        QCOMPARE(CDBStore::GetInstance()->InitDBTable({{"saveDir", store + "/zrModelData"}}), 0);
        QVERIFY(TestFiles::Write(m_tmp.filePath("clip.bin"), "content"));
        VideoFileRecord record;
        QCOMPARE(CDBStore::GetInstance()->GetVideoFile(m_tmp.filePath("clip.bin"), record, true, 2), 0);
        const QVariantMap move = Zrwork({"list", "--store", store, "--model", "move"}).Json();
        QCOMPARE(move.value("rows").toList().value(0).toMap().value("sMd5").toString(), QString("9A0364B9E99BB480DD25E1F0284C8555"));
        QCOMPARE(Zrwork({"list", "--store", store, "--model", "face"}).Json(), (QVariantMap{{"total", 0}, {"rows", QVariantList()}}));
        // Without --model every model is listed, each row naming its own.
        const QVariantMap all = Zrwork({"list", "--store", store}).Json();
        QCOMPARE(all.value("total").toInt(), 1);
        QCOMPARE(all.value("rows").toList().value(0).toMap().value("sKind").toString(), QString("move"));

        // A catalogue on a read-only disk is listed all the same (this process's row moved
        // from the write-ahead log into the file first).
        CDBStore::GetInstance()->CatalogueDatabase().exec("PRAGMA wal_checkpoint(TRUNCATE)");
        const QString ro = m_tmp.filePath("ro");
        QVERIFY(QDir().mkpath(ro));
        if (QProcess::execute("mount", {"--bind", "-o", "ro", store, ro}) == 0) {
            const ZrworkResult listed = Zrwork({"list", "--store", ro});
            QProcess::execute("umount", {ro});
            QVERIFY2(listed.status == 0, listed.err.constData());
            QCOMPARE(listed.Json().value("total").toInt(), 1);
        } else {
            qWarning("read-only listing not tried: a read-only bind mount needs root");
        }

        // A mistyped folder is an error and stays uncreated; a damaged catalogue says why.
        const ZrworkResult missing = Zrwork({"list", "--store", store + "x"});
        QCOMPARE(missing.status, 1);
        QCOMPARE(missing.err, "zrwork: there is no store folder " + (store + "x").toUtf8() + "\n");
        QVERIFY(!QFileInfo::exists(store + "x"));
        QVERIFY(QDir().mkpath(m_tmp.filePath("bad/zrModelData")));
        QVERIFY(TestFiles::Write(m_tmp.filePath("bad/zrModelData/videofile.fdb"), "garbage"));
        const ZrworkResult damaged = Zrwork({"list", "--store", m_tmp.filePath("bad")});
        QCOMPARE(damaged.status, 1);
        QVERIFY2(damaged.err.contains("err file is not a database"), damaged.err.constData());
    }

    // Ctrl-C reaches the whole foreground group: the running ffmpeg lives on, no stretch is lost.
    void interruptStopsTheWork()
    {
        const QString media = m_tmp.filePath("long.mp4"), folder = m_tmp.filePath("long-out/long");
        QVERIFY(MakeMedia(media, 120));
        QProcess p;
        p.start("setsid", {m_sBin, "voice", media, "--save-dir", m_tmp.filePath("long-out"), "--min-sec", "0.5"});
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(folder + "/000004-1.mp4"), 60000);
        ::kill(-static_cast<pid_t>(p.processId()), SIGINT);
        QVERIFY2(p.waitForFinished(60000), "Ctrl-C must end the run promptly");
        QCOMPARE(p.exitCode(), 1);
        const QVariantMap res = QJsonDocument::fromJson(p.readAllStandardOutput()).object().toVariantMap().value("res_data").toMap();
        QCOMPARE(res.value("resMsg").toString(), QString("task_stopped"));
        const int found = res.value("nFindNum").toInt();
        QVERIFY2(found >= 1 && found < 30, "the stop came while cutting");
        // The cut the stop ended is removed: only whole segments stay.
        const QStringList cut = QDir(folder).entryList({"*.mp4"}, QDir::Files, QDir::Time | QDir::Reversed);
        QCOMPARE(cut.size(), found);
        // Stretch k starts at 4k s (file times read hhmmss).
        QCOMPARE(cut.last(), QTime(0, 0).addSecs((found - 1) * 4).toString("hhmmss") + QString("-%1.mp4").arg(found - 1));
    }

    // A work that writes no file fails with one line saying so, whatever its "resMsg".
    void noOutputIsAFailure()
    {
        const ZrworkResult r = Zrwork({"text", m_tmp.filePath("missing.wav"), "--save-dir", m_tmp.filePath("text")});
        QCOMPARE(r.status, 1);
        QCOMPARE(r.Json().value("res_data").toMap(), (QVariantMap{{"resMsg", ""}}));
        QVERIFY2(r.err.startsWith("zrwork: the work failed: no output file was written"), r.err.constData());
        QCOMPARE(r.err.count('\n'), 1);
    }

    // The shipped recogniser behind the defaults: the finished map, then the text read.
    void ocrPrintsMapAndText()
    {
        const QString picture = m_tmp.filePath("hello.png");
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "color=white:s=480x100", "-frames:v", "1", "-vf",
                                              "drawtext=fontfile=/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc:fontsize=40"
                                              ":x=30:y=30:text=Hello World 2024",
                                              picture}), 0);
        const ZrworkResult r = Zrwork({"ocr", picture, "--save-dir", m_tmp.filePath("ocr")});
        QCOMPARE(r.status, 0);
        const QString out = QString::fromUtf8(r.out);
        QVERIFY2(out.endsWith("}\nHello World 2024\n"), qPrintable(out));
    }
};

QTEST_GUILESS_MAIN(TstZrwork)
#include "tst_zrwork.moc"
