// zrwork batches as a user runs them: real process, library, ffmpeg, files and signals.

#include "TestFiles.h"
#include "ZrworkProcess.h"

#include <QtTest>

#include <csignal>

namespace {

// A tone that sounds for 2 s out of every 4: one voiced stretch per 4 s.
bool MakeClip(const QString& path, int seconds)
{
    return QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i",
                                        QString("aevalsrc='if(lt(mod(t,4),2),0.5*sin(2*PI*440*t),0)':s=16000:d=%1").arg(seconds),
                                        "-c:a", "aac", path}) == 0;
}

int LineCount(const QString& path)
{
    return TestFiles::Read(path).count('\n');
}

QVariantMap Res(const QVariantMap& finished)
{
    return finished.value("res_data").toMap();
}

} // namespace

class TstZrworkBatch : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    const QString m_sBin = ZrworkBin();

    QStringList CutFiles(const QString& folder) const { return QDir(folder).entryList({"*.mp4"}, QDir::Files, QDir::Name); }

private Q_SLOTS:
    // Five clips two at a time give what five single runs give, printed in the inputs' order.
    void batchMatchesSingleRuns()
    {
        const QStringList names{"one.m4a", "two words.m4a", "trois é.m4a", "four.m4a", "-five.m4a"};
        QVERIFY(QDir().mkpath(m_tmp.filePath("clips")));
        for (int i = 0; i < names.size(); ++i)
            QVERIFY(MakeClip(m_tmp.filePath("clips/" + names.at(i)), 4 + 4 * (i % 2)));
        const ZrworkResult batch = Zrwork({"voice", m_tmp.filePath("clips"), "--save-dir", m_tmp.filePath("batch"), "--jobs", "2",
                                     "--min-sec", "0.5", "--glob", "*.m4a", "--summary", m_tmp.filePath("summary.csv")});
        QVERIFY2(batch.status == 0, batch.err.constData());
        const QVector<QVariantMap> maps = batch.Lines();
        QCOMPARE(maps.size(), 5);
        QStringList sorted = names;
        sorted.sort();
        for (int i = 0; i < 5; ++i) {
            const QString input = m_tmp.filePath("clips/" + sorted.at(i));
            QCOMPARE(maps.at(i).value("user_data").toMap().value("sFile").toString(), input);
            const ZrworkResult single = Zrwork({"voice", input, "--save-dir", m_tmp.filePath("single"), "--min-sec", "0.5"});
            QCOMPARE(single.status, 0);
            const QVariantMap one = QJsonDocument::fromJson(single.out).object().toVariantMap();
            QCOMPARE(Res(maps.at(i)).value("nFindNum"), Res(one).value("nFindNum"));
            QCOMPARE(maps.at(i).value("user_data").toMap().value("nDuration"), one.value("user_data").toMap().value("nDuration"));
            QCOMPARE(CutFiles(Res(maps.at(i)).value("sOutDir").toString()), CutFiles(Res(one).value("sOutDir").toString()));
        }
        QCOMPARE(LineCount(m_tmp.filePath("batch/zrwork-voice.journal")), 5);
        const QStringList csv = TestFiles::Read(m_tmp.filePath("summary.csv")).split("\n", Qt::SkipEmptyParts);
        QCOMPARE(csv.size(), 6);
        QVERIFY2(csv.at(1).startsWith(m_tmp.filePath("clips/-five.m4a") + ",ok," + m_tmp.filePath("batch/-five")), qPrintable(csv.at(1)));
        QVERIFY2(batch.err.contains("\n5 inputs: 5 ok\n"), batch.err.constData());
    }

    // Killed after two inputs, the batch resumes with the other three; a non-media input
    // fails without stopping the rest, and is tried again on the next run.
    void resumesAndRetries()
    {
        const QString in = m_tmp.filePath("in"), out = m_tmp.filePath("out"), journal = out + "/zrwork-voice.journal";
        QVERIFY(QDir().mkpath(in));
        QVERIFY(MakeClip(in + "/a.m4a", 4) && MakeClip(in + "/b.m4a", 4) && MakeClip(in + "/c.m4a", 24) && MakeClip(in + "/d.m4a", 4));
        QVERIFY(TestFiles::Write(in + "/e notes.txt", "not media"));
        const QStringList args{"voice", in, "--save-dir", out, "--min-sec", "0.5"};

        QProcess first;
        first.start(m_sBin, args + QStringList{"--jobs", "1"});
        // c takes a while (six stretches to cut): the kill comes while it runs.
        QTRY_VERIFY_WITH_TIMEOUT(LineCount(journal) >= 2, 60000);
        first.kill();
        QVERIFY(first.waitForFinished());
        QCOMPARE(LineCount(journal), 2);

        const ZrworkResult resumed = Zrwork(args + QStringList{"--events"});
        QCOMPARE(resumed.status, 1);
        QStringList started, finished;
        for (const QVariantMap& event : resumed.Lines()) {
            const QString name = QFileInfo(event.value("input").toString()).fileName();
            if (event.value("event") == "started")
                started << name;
            else if (event.value("event") == "finished")
                finished << name + " " + event.value("outcome").toString();
            else
                QCOMPARE(event.value("event").toString(), QString("progress"));
        }
        QCOMPARE(started, (QStringList{"c.m4a", "d.m4a", "e notes.txt"}));
        finished.sort();
        QCOMPARE(finished, (QStringList{"a.m4a skipped", "b.m4a skipped", "c.m4a ok", "d.m4a ok", "e notes.txt read_input_failed"}));
        QCOMPARE(LineCount(journal), 5);

        const ZrworkResult retried = Zrwork(args);
        QCOMPARE(retried.status, 1);
        QCOMPARE(retried.Lines().size(), 5); // the journal's maps for the four done, the new one for e
        QCOMPARE(Res(retried.Lines().at(4)).value("resMsg").toString(), QString("read_input_failed"));
        QCOMPARE(LineCount(journal), 6);
        QVERIFY2(retried.err.contains("\n5 inputs: 4 skipped, 1 failed\n"), retried.err.constData());
    }

    // The first interrupt lets the running work end and records it; nothing new starts.
    void interruptDrains()
    {
        const QString in = m_tmp.filePath("drain"), out = m_tmp.filePath("drain-out");
        QVERIFY(QDir().mkpath(in));
        QVERIFY(MakeClip(in + "/a.m4a", 20) && MakeClip(in + "/b.m4a", 4));
        QProcess p;
        p.start(m_sBin, {"voice", in, "--save-dir", out, "--jobs", "1", "--min-sec", "0.5"});
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(out + "/a/000004-1.mp4"), 60000);
        ::kill(static_cast<pid_t>(p.processId()), SIGTERM);
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), 1);
        const QByteArray err = p.readAllStandardError();
        QVERIFY2(err.contains("\n2 inputs: 1 ok, 1 not started\n"), err.constData());
        QCOMPARE(Res(QJsonDocument::fromJson(p.readAllStandardOutput()).object().toVariantMap()).value("nFindNum").toInt(), 5);
        QCOMPARE(LineCount(out + "/zrwork-voice.journal"), 1);
    }
};

QTEST_GUILESS_MAIN(TstZrworkBatch)
#include "tst_zrworkbatch.moc"
