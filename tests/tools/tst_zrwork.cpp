// zrwork as a user runs it: real process, real library, real ffmpeg.

#include "TestFiles.h"
#include "store/CDBStore.h"

#include <QtTest>

#include <csignal>
#include <sys/stat.h>

namespace {

struct Result
{
    int status = -1;
    QByteArray out, err;
    QVariantMap Json() const { return QJsonDocument::fromJson(out).object().toVariantMap(); }
    QString Exc() const { return Json().value("user_data").toMap().value("sWorkExc").toString(); }
};

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
    const QString m_sBin = qEnvironmentVariable("ZRW_BIN_DIR") + "/zrwork";

    Result Zrwork(const QStringList& args)
    {
        QProcess p;
        p.start(m_sBin, args);
        if (!p.waitForFinished(120000))
            p.kill();
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, p.readAllStandardOutput(), p.readAllStandardError()};
    }

private Q_SLOTS:
    void types()
    {
        const Result r = Zrwork({"types"});
        QCOMPARE(r.status, 0);
        const QStringList lines = QString::fromUtf8(r.out).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 16);
        QCOMPARE(lines.at(5), QString(" 5  CDetVoiceWork          available"));
        QCOMPARE(lines.at(11), QString("11  (unassigned)           unavailable"));
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
        QTest::newRow("docx with two files") << QStringList{"docx", "a.pdf", "b.pdf", "--save-dir", "out"};
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        const Result r = Zrwork(args);
        QCOMPARE(r.status, 2);
        QVERIFY2(r.out.isEmpty(), "nothing on stdout when no work ran");
    }

    // A failed work exits 1; a FIFO is refused at once, with no ffprobe left waiting on it.
    void fifoFailsAtOnce()
    {
        QCOMPARE(mkfifo(QFile::encodeName(m_tmp.filePath("fifo")).constData(), 0600), 0);
        const Result r = Zrwork({"voice", m_tmp.filePath("fifo"), "--save-dir", m_tmp.path()});
        QCOMPARE(r.status, 1);
        QCOMPARE(r.Json().value("res_data").toMap().value("resMsg").toString(), QString("read_input_failed"));
        QCOMPARE(r.Json().value("nPos").toInt(), 100);
        QVERIFY2(!r.err.contains("QProcess"), r.err.constData());
    }

    // The shipped converter is filled in unless --param names another.
    void documentCommands()
    {
        const QString office = QFileInfo(qEnvironmentVariable("ZRW_BIN_DIR") + "/../worktools/office").canonicalFilePath();
        QCOMPARE(Zrwork({"pdf", m_tmp.filePath("missing.docx"), "--save-dir", m_tmp.filePath("docs")}).Exc(), office + "/docx2pdf");
        QCOMPARE(Zrwork({"docx", m_tmp.filePath("x.pdf"), "--save-dir", m_tmp.filePath("docs"), "--param", "sWorkExc=/bin/false"}).Exc(),
                 QString("/bin/false"));
    }

    void voice()
    {
        const QString media = m_tmp.filePath("my talk.mp4");
        QVERIFY(MakeMedia(media, 8));
        const Result r = Zrwork({"voice", media, "--save-dir", m_tmp.filePath("out"), "--min-sec", "0.5", "--verbose",
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
        QCOMPARE(Zrwork({"list", "--store", store}).Json(), (QVariantMap{{"total", 0}, {"rows", QVariantList()}}));

        // A mistyped folder is an error and stays uncreated; a damaged catalogue says why.
        const Result missing = Zrwork({"list", "--store", store + "x"});
        QCOMPARE(missing.status, 1);
        QCOMPARE(missing.err, "zrwork: there is no store folder " + (store + "x").toUtf8() + "\n");
        QVERIFY(!QFileInfo::exists(store + "x"));
        QVERIFY(QDir().mkpath(m_tmp.filePath("bad/zrModelData")));
        QVERIFY(TestFiles::Write(m_tmp.filePath("bad/zrModelData/videofile.fdb"), "garbage"));
        const Result damaged = Zrwork({"list", "--store", m_tmp.filePath("bad")});
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
        QVERIFY2(p.waitForFinished(60000), "Ctrl-C must end the run after the current step");
        QCOMPARE(p.exitCode(), 1);
        const QVariantMap res = QJsonDocument::fromJson(p.readAllStandardOutput()).object().toVariantMap().value("res_data").toMap();
        QCOMPARE(res.value("resMsg").toString(), QString("task_stopped"));
        const int found = res.value("nFindNum").toInt();
        QVERIFY2(found >= 2 && found < 30, "the stop came while cutting");
        const QStringList cut = QDir(folder).entryList({"*.mp4"}, QDir::Files, QDir::Time | QDir::Reversed);
        QCOMPARE(cut.size(), found);
        // Stretch k starts at 4k s (file times read hhmmss).
        QCOMPARE(cut.last(), QTime(0, 0).addSecs((found - 1) * 4).toString("hhmmss") + QString("-%1.mp4").arg(found - 1));
    }

    // The shipped recogniser behind the defaults: the finished map, then the text read.
    void ocrPrintsMapAndText()
    {
        const QString picture = m_tmp.filePath("hello.png");
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "color=white:s=480x100", "-frames:v", "1", "-vf",
                                              "drawtext=fontfile=/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc:fontsize=40"
                                              ":x=30:y=30:text=Hello World 2024",
                                              picture}), 0);
        const Result r = Zrwork({"ocr", picture, "--save-dir", m_tmp.filePath("ocr")});
        QCOMPARE(r.status, 0);
        const QString out = QString::fromUtf8(r.out);
        QVERIFY2(out.endsWith("}\nHello World 2024\n"), qPrintable(out));
    }
};

QTEST_GUILESS_MAIN(TstZrwork)
#include "tst_zrwork.moc"
