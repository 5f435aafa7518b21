// Voice detection: the segment computation on its own, then whole runs through the
// library object on a recording whose silences are known to the sample.

#include "TestHost.h"
#include "base/PubUtils.h"
#include "core/CObjLibImp.h"
#include "works/analysis/CDetVoiceWork.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using WorkBaseData::PubUtils;

namespace {

QVariantList Spans(std::initializer_list<std::pair<double, double>> list)
{
    QVariantList out;
    for (const auto& p : list)
        out.append(QVariantMap{{"startTs", p.first}, {"endTs", p.second}});
    return out;
}

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

// Ten seconds of picture and tone, the tone silenced from 2 to 4 s and 6 to 8 s (or never).
bool MakeMedia(const QString& path, bool withSilences)
{
    const QString tone = "0.5*sin(2*PI*440*t)";
    const QString audio = withSilences ? "if(between(t,2,4)+between(t,6,8),0," + tone + ")" : tone;
    QProcess ff;
    ff.start("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=10", "-f",
                        "lavfi", "-i", "aevalsrc='" + audio + "':s=16000:d=10", "-c:v", "libx264", "-c:a", "pcm_s16le", path});
    return ff.waitForFinished(60000) && ff.exitCode() == 0;
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

    // One whole run; the result map, or {"runs": n} when not exactly one finished map came.
    QVariantMap Run(const QVariantMap& params)
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(5);
        work->SetParams(params);
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
        m_sMedia = m_tmp.filePath("talk.mkv");
        QVERIFY2(MakeMedia(m_sMedia, true), "ffmpeg must be able to make the test recording");
    }

    void segments_data()
    {
        QTest::addColumn<QVariantList>("silences");
        QTest::addColumn<double>("minSec");
        QTest::addColumn<qint64>("duration");
        QTest::addColumn<QVariantList>("expected");
        const QVariantList two = Spans({{2.0, 3.0}, {5.0, 9.0}});
        QTest::newRow("keeps all three") << two << 1.5 << qint64(12) << Spans({{0, 2.0}, {3.0, 5.0}, {9.0, 13}});
        QTest::newRow("exact length dropped") << two << 2.0 << qint64(12) << Spans({{9.0, 13}});
        QTest::newRow("leading silence") << Spans({{0, 1.5}}) << 0.5 << qint64(4) << Spans({{1.5, 5}});
        QTest::newRow("negative min") << Spans({{0, 1.5}}) << -0.5 << qint64(4) << Spans({{0, 0}, {1.5, 5}});
        QTest::newRow("trailing silence") << Spans({{3.0, 6.0}}) << 1.0 << qint64(6) << Spans({{0, 3.0}});
        QTest::newRow("no silence") << QVariantList() << 0.0 << qint64(60) << QVariantList();
    }

    void segments()
    {
        QFETCH(QVariantList, silences);
        QFETCH(double, minSec);
        QFETCH(qint64, duration);
        QFETCH(QVariantList, expected);
        QCOMPARE(CDetVoiceWork::ComputeSegments(silences, minSec, duration), expected);
    }

    void cutsVoicedStretches()
    {
        const QString saveDir = m_tmp.filePath("out"), folder = saveDir + "/talk";
        const QVariantMap res = Run(Params(m_sMedia, saveDir, true));
        QCOMPARE(res, (QVariantMap{{"resMsg", ""}, {"nFindNum", 3}}));
        QCOMPARE(ReadText(folder + "/talk.csv"),
                 QString("file,start,end,duration\n0,000000,000002,2\n1,000004,000006,1.99994\n2,000008,000011,2.99994\n"));
        QCOMPARE(ReadText(folder + "/tmp_concat.txt"), QString("000000-0.mp4\n000004-1.mp4\n000008-2.mp4\n"));
        for (const char* name : {"/000000-0.mp4", "/000004-1.mp4", "/000008-2.mp4"})
            QVERIFY2(QFileInfo(folder + name).size() > 0, name);

        // Times reach ffmpeg as short decimal texts, and a cut re-encodes.
        const QString cut = "exec -y -ss 4.00006 -to 6 -i " + m_sMedia + " -vsync 0 -acodec aac -vcodec libx264 " + folder
            + "/000004-1.mp4";
        QCOMPARE(TestHost::LogsWith(cut).size(), 1);
        const QString concat = "exec -y -f concat -safe 0 -i " + folder + "/tmp_concat.txt -acodec copy -vcodec copy " + folder
            + "/azr-talk.mp4";
        QCOMPARE(TestHost::LogsWith(concat).size(), 1);
        // The list holds bare names, which ffmpeg's concat reader does not take as file
        // directives: it refuses the list, so no merged file appears.
        QVERIFY(!QFileInfo::exists(folder + "/azr-talk.mp4"));

        QList<int> positions;
        for (const QVariant& p : TestHost::Of(WorkLibRs_Progress)) {
            QCOMPARE(p.toMap().value("user_data").toMap(), Params(m_sMedia, saveDir, true));
            QCOMPARE(p.toMap().value("nMax").toInt(), 100);
            positions.append(p.toMap().value("nPos").toInt());
        }
        QCOMPARE(positions, (QList<int>{0, 33, 66}));
    }

    void noSilenceNoSegments()
    {
        const QString tone = m_tmp.filePath("tone.mkv"), saveDir = m_tmp.filePath("tone");
        QVERIFY(MakeMedia(tone, false));
        QCOMPARE(Run(Params(tone, saveDir, true)), (QVariantMap{{"resMsg", ""}, {"nFindNum", 0}}));
        QCOMPARE(ReadText(saveDir + "/tone/tone.csv"), QString("file,start,end,duration\n"));
        QCOMPARE(ReadText(saveDir + "/tone/tmp_concat.txt"), QString());
    }

    // Quotes make a base name unusable as a folder name; the counter-named folder is used then.
    void awkwardNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("folder");
        QTest::newRow("spaces") << "my talk 1" << "my talk 1";
        QTest::newRow("quotes") << "it's \"quoted\"" << "detvoice";
        QTest::newRow("non-ascii") << "Grüße 声音" << "Grüße 声音";
        QTest::newRow("leading dash") << "-i talk" << "-i talk";
    }

    void awkwardNames()
    {
        QFETCH(QString, name);
        QFETCH(QString, folder);
        const QString dir = m_tmp.filePath(QString("names/") + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir) && QFile::copy(m_sMedia, dir + "/" + name + ".mkv"));
        QCOMPARE(Run(Params(dir + "/" + name + ".mkv", dir + "/out dir")), (QVariantMap{{"resMsg", ""}, {"nFindNum", 3}}));
        const QStringList made = QDir(dir + "/out dir").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QVERIFY2(made.size() == 1 && made.first().startsWith(folder), qPrintable(made.join(',')));
    }

    // Every failure ends the run with one finished map naming it and leaves no result folder.
    void failures_data()
    {
        QTest::addColumn<QString>("input"); // "<none>" missing, "<media>" the recording, else the content
        QTest::addColumn<QString>("saveDir"); // below the case's folder; empty stays empty
        QTest::addColumn<bool>("noFfmpeg");
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("missing") << "<none>" << "out" << false << "read_input_failed";
        QTest::newRow("empty") << "" << "out" << false << "read_input_failed";
        QTest::newRow("not media") << "just text\n" << "out" << false << "read_input_failed";
        QTest::newRow("save dir below a file") << "<media>" << "plain/out" << false << "save_dir_failed";
        QTest::newRow("no save dir") << "<media>" << "" << false << "save_dir_failed";
        QTest::newRow("no ffmpeg") << "<media>" << "out" << true << "ffmpeg_not_found";
    }

    void failures()
    {
        QFETCH(QString, input);
        QFETCH(QString, saveDir);
        QFETCH(bool, noFfmpeg);
        QFETCH(QString, resMsg);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir) && WriteFile(dir + "/plain", "x"));
        QString file = input == "<media>" ? m_sMedia : dir + "/input.mp4";
        if (input != "<media>" && input != "<none>")
            QVERIFY(WriteFile(file, input.toUtf8()));
        const QByteArray path = qgetenv("PATH");
        if (noFfmpeg) {
            PubUtils::SetAppDir(dir); // no ffmpeg beside the application, nor on the PATH
            qputenv("PATH", dir.toUtf8());
        }
        const QVariantMap res = Run(Params(file, saveDir.isEmpty() ? QString() : dir + "/" + saveDir));
        qputenv("PATH", path);
        PubUtils::SetAppDir(QString());
        QCOMPARE(res.value("resMsg").toString(), resMsg);
        QVERIFY2(QDir(dir + "/out").isEmpty(), "a failed run leaves no result folder behind");
    }

    void saveFolderFallsBackToZorun()
    {
        const QString saveDir = m_tmp.filePath("blocked");
        QVERIFY(QDir().mkpath(saveDir) && WriteFile(saveDir + "/talk", "")); // a file where the folder should go
        QCOMPARE(Run(Params(m_sMedia, saveDir)).value("nFindNum").toInt(), 3);
        const QStringList lines =
            TestHost::LogsWith("CDetVoiceWork::DoWork Warn>> mkdir save dir failed " + saveDir + "/talk use dir " + saveDir + "/zorun");
        QCOMPARE(lines.size(), 1);
        const QString used = lines.first().section(" use dir ", -1);
        QCOMPARE(ReadText(used + "/talk.csv").count('\n'), 4);
    }
};

QTEST_GUILESS_MAIN(TstDetVoiceWork)
#include "tst_detvoicework.moc"
