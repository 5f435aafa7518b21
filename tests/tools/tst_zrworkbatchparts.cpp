// The batch's pure parts: inputs, journal, options, outcome, summary, events, progress.

#include "CBatchEvents.h"
#include "CBatchInputs.h"
#include "CBatchJournal.h"
#include "CBatchOptions.h"
#include "CBatchOutcome.h"
#include "CBatchProgress.h"
#include "CBatchSummary.h"
#include "TestFiles.h"

#include <QtTest>

class TstZrworkBatchParts : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    QString P(const QString& name) const { return m_tmp.filePath(name); }

private Q_SLOTS:
    void expandsFoldersAndLists()
    {
        QVERIFY(QDir().mkpath(P("in/sub/out")) && QDir().mkpath(P("in/sub/deeper")));
        for (const char* name : {"in/b.mp4", "in/a.MP4", "in/notes.txt", "in/.hidden.mp4", "in/zrwork-voice.journal", "in/sub/c.mp4", "in/sub/out/made.mp4", "in/sub/deeper/d.mp4"})
            QVERIFY(TestFiles::Write(P(name), "x"));
        QVERIFY(TestFiles::Write(P("list.txt"), "in/b.mp4\r\n\n  \n" + P("gone.mp4").toUtf8() + "\n"));
        CBatchInputs::Options options;
        options.items = QStringList{P("in"), P("in/b.mp4")};
        options.globs = QStringList{"*.mp4"};
        QString error;
        QCOMPARE(CBatchInputs::Expand(options, &error), (QStringList{P("in/a.MP4"), P("in/b.mp4")}));
        options.globs.clear();
        QCOMPARE(CBatchInputs::Expand(options, &error), (QStringList{P("in/a.MP4"), P("in/b.mp4"), P("in/notes.txt")}));
        options.globs = QStringList{"*.mp4"};
        options.recursive = true;
        options.excludeDir = P("in/sub/out");
        options.exclude = QStringList{P("in/sub/c.mp4")};
        options.fromList = P("list.txt");
        const QString cwd = QDir::currentPath();
        QDir::setCurrent(m_tmp.path());
        const QStringList all = CBatchInputs::Expand(options, &error);
        QDir::setCurrent(cwd);
        // Listed paths are taken as they are: a missing one stays, for its work to refuse.
        QCOMPARE(all, (QStringList{P("in/a.MP4"), P("in/b.mp4"), P("in/sub/deeper/d.mp4"), P("gone.mp4")}));
        QVERIFY(error.isEmpty());
        options.fromList = P("in");
        QVERIFY(CBatchInputs::Expand(options, &error).isEmpty());
        QCOMPARE(error, "the list " + P("in") + " cannot be read");
    }

    void journalKeepsTheLastWordOfEachInput()
    {
        QVERIFY(TestFiles::Write(P("clip.wav"), "data"));
        const CBatchJournal::Key key = CBatchJournal::KeyOf(P("clip.wav"));
        QCOMPARE(key.size, 4);
        CBatchJournal journal(P("j/journal"));
        QVERIFY(QDir().mkpath(P("j")));
        QVERIFY(journal.Load());
        QVERIFY(journal.Append({key, "read_input_failed", "", 0.5, {{"nPos", 100}}}));
        // A power cut tore the next line: it is skipped, and the line after it kept whole.
        QFile torn(journal.File());
        QVERIFY(torn.open(QIODevice::Append) && torn.write("{\"input\":\"") == 10);
        torn.close();
        QVERIFY(journal.Append({key, "ok", P("clip.txt"), 1.25, {{"nPos", 100}}}));
        CBatchJournal again(journal.File());
        QVERIFY(again.Load());
        QCOMPARE(again.Last(P("clip.wav"))->outcome, QString("ok"));
        QCOMPARE(again.Last(P("clip.wav"))->map, (QVariantMap{{"nPos", 100}}));
        QCOMPARE(again.Outputs(), QStringList{P("clip.txt")});
        QCOMPARE(CBatchJournal::Line(*again.Last(P("clip.wav"))),
                 "{\"input\":\"" + P("clip.wav").toUtf8() + "\",\"map\":{\"nPos\":100},\"mtime\":" + QByteArray::number(key.mtime)
                     + ",\"outcome\":\"ok\",\"output\":\"" + P("clip.txt").toUtf8() + "\",\"seconds\":1.25,\"size\":4}\n");
    }

    void doneOnlyWhenWhole_data()
    {
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("output");
        QTest::addColumn<bool>("done");
        QTest::newRow("ok, output there") << "ok" << qint64(4) << "full.txt" << true;
        QTest::newRow("ok, no output named") << "ok" << qint64(4) << "" << true;
        QTest::newRow("failed") << "cut_failed" << qint64(4) << "full.txt" << false;
        QTest::newRow("input changed since") << "ok" << qint64(5) << "full.txt" << false;
        QTest::newRow("output empty") << "ok" << qint64(4) << "empty.txt" << false;
        QTest::newRow("output gone") << "ok" << qint64(4) << "gone.txt" << false;
        QTest::newRow("output folder empty") << "ok" << qint64(4) << "emptydir" << false;
        QTest::newRow("output folder holds files") << "ok" << qint64(4) << "fulldir" << true;
    }

    void doneOnlyWhenWhole()
    {
        QFETCH(QString, outcome);
        QFETCH(qint64, size);
        QFETCH(QString, output);
        QFETCH(bool, done);
        QVERIFY(TestFiles::Write(P("in.wav"), "data") && TestFiles::Write(P("full.txt"), "t") && TestFiles::Write(P("empty.txt"), ""));
        QVERIFY(QDir().mkpath(P("emptydir")) && QDir().mkpath(P("fulldir")) && TestFiles::Write(P("fulldir/1.mp4"), "v"));
        CBatchJournal::Entry entry{CBatchJournal::KeyOf(P("in.wav")), outcome, output.isEmpty() ? "" : P(output), 1, {}};
        entry.key.size = size;
        QCOMPARE(CBatchJournal::IsDone(entry, CBatchJournal::KeyOf(P("in.wav"))), done);
    }

    void options_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("error");
        QTest::addColumn<bool>("single");
        QTest::addColumn<int>("jobsFor14");
        QTest::newRow("one file") << QStringList{"-odd name.mp4"} << "" << true << 1;
        QTest::newRow("two files") << QStringList{"a", "b"} << "" << false << 1;
        QTest::newRow("a folder") << QStringList{"."} << "" << false << 1;
        QTest::newRow("one file with events") << QStringList{"a", "--events"} << "" << false << 1;
        QTest::newRow("jobs given") << QStringList{"a", "--jobs", "3"} << "" << false << 3;
        QTest::newRow("jobs zero") << QStringList{"a", "--jobs", "0"} << "--jobs wants a whole number of 1 or more" << false << 0;
        QTest::newRow("glob without value") << QStringList{"a", "--glob"} << "--glob is missing its value" << false << 0;
        QTest::newRow("unknown option") << QStringList{"a", "--jbos", "2"} << "unknown option --jbos" << false << 0;
    }

    void options()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, error);
        QFETCH(bool, single);
        QFETCH(int, jobsFor14);
        CBatchOptions options;
        QString why;
        QCOMPARE(options.Take(args, &why), error.isEmpty());
        QCOMPARE(why, error);
        if (error.isEmpty()) {
            QCOMPARE(options.IsSingle(), single);
            QCOMPARE(options.Jobs(14, 2), jobsFor14);
            QCOMPARE(options.Jobs(5, 2), options.jobs > 0 ? options.jobs : 2);
        }
    }

    void outcomeWords()
    {
        QVERIFY(TestFiles::Write(P("out.txt"), "text"));
        const auto finished = [](const QVariantMap& result, const QVariantMap& params = {}) {
            return QVariantMap{{"res_data", result}, {"user_data", params}};
        };
        QCOMPARE(CBatchOutcome::Word(5, finished({{"resMsg", "cut_failed"}})), QString("cut_failed"));
        QCOMPARE(CBatchOutcome::Word(15, finished({{"resMsg", ""}, {"sOutFile", P("out.txt")}})), QString("ok"));
        QCOMPARE(CBatchOutcome::Word(15, finished({{"resMsg", ""}, {"sOutFile", P("none.txt")}})), QString("no_output"));
        QCOMPARE(CBatchOutcome::Word(10, finished({{"resMsg", ""}})), QString("no_output"));
        QCOMPARE(CBatchOutcome::Word(9, finished({{"resMsg", ""}}, {{"sOutFile", P("out.txt")}})), QString("ok"));
        QCOMPARE(CBatchOutcome::Output(finished({{"sOutDir", "/d"}}, {{"sOutFile", "/f"}})), QString("/d"));
        QCOMPARE(CBatchOutcome::Word(5, {}), QString("no_result"));
    }

    void summaryAndEvents()
    {
        const QVector<CBatchSummary::Row> rows{{"/w/in/a b.mp4", "ok", "/w/out/a b", 1.24},
                                               {"/w/in/x,\"y\".mp4", "read_input_failed", "", 0.04},
                                               {"/w/in/c.mp4", "skipped", "/w/out/c", 0}};
        QCOMPARE(QString(CBatchSummary::Table(rows, "/w")), QString("input         outcome            output   seconds\n"
                                                                    "in/a b.mp4    ok                 out/a b      1.2\n"
                                                                    "in/x,\"y\".mp4  read_input_failed               0.0\n"
                                                                    "in/c.mp4      skipped            out/c        0.0\n"
                                                                    "3 inputs: 1 ok, 1 skipped, 1 failed\n"));
        QCOMPARE(CBatchSummary::Csv(rows), QByteArray("input,outcome,output,seconds\r\n"
                                                      "/w/in/a b.mp4,ok,/w/out/a b,1.240\r\n"
                                                      "\"/w/in/x,\"\"y\"\".mp4\",read_input_failed,,0.040\r\n"
                                                      "/w/in/c.mp4,skipped,/w/out/c,0.000\r\n"));
        QCOMPARE(CBatchEvents::Started(0, 3, "/a"), QByteArray("{\"event\":\"started\",\"index\":0,\"input\":\"/a\",\"total\":3}\n"));
        QCOMPARE(CBatchEvents::Finished(2, "/c", "ok", "/o", 0.5, {{"nPos", 100}}),
                 QByteArray("{\"event\":\"finished\",\"index\":2,\"input\":\"/c\",\"map\":{\"nPos\":100},\"outcome\":\"ok\","
                            "\"output\":\"/o\",\"seconds\":0.5}\n"));
    }

    void progressBlock()
    {
        CBatchProgress::State state;
        state.total = 16;
        state.done = 6;
        state.failed = 1;
        state.toRun = 12;
        state.ranDone = 2;
        state.elapsedMs = 30000;
        state.running = {{"/in/first.mp4", 7}, {"/in/a-very-long-recording-name.mp4", 100}};
        QCOMPARE(CBatchProgress::Block(state, 34), (QStringList{"[#########               ] 6/16 do",
                                                                "    7% first.mp4",
                                                                "  100% …ry-long-recording-name.mp4"}));
        QCOMPARE(CBatchProgress::TimeLeft(state), QString("2:30"));
        state.ranDone = 0;
        QCOMPARE(CBatchProgress::TimeLeft(state), QString("--:--"));
    }
};

QTEST_GUILESS_MAIN(TstZrworkBatchParts)
#include "tst_zrworkbatchparts.moc"
