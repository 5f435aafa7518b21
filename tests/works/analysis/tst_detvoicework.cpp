// Voice detection: the segment computation on its own, then whole runs through the
// library boundary on media whose silences are known to the sample.

#include "TestHost.h"
#include "base/PubUtils.h"
#include "core/CObjLibImp.h"
#include "works/analysis/CDetVoiceWork.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using WorkBaseData::PubUtils;

namespace {

QVariantList Intervals(std::initializer_list<std::pair<double, double>> list)
{
    QVariantList out;
    for (const auto& p : list)
        out.append(QVariantMap{{QStringLiteral("startTs"), p.first}, {QStringLiteral("endTs"), p.second}});
    return out;
}

QString ReadText(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromUtf8(f.readAll()) : QStringLiteral("<missing>");
}

} // namespace

class TstDetVoiceWork : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sMedia; // 10 s: silent from 2 to 4 and from 6 to 8
    QString m_sTone;  // 3 s of tone, no silence at all

    bool MakeMedia(const QString& path, const QString& audioExpr, int seconds)
    {
        QProcess ff;
        ff.start(QStringLiteral("ffmpeg"),
                 {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                  QStringLiteral("-i"), QStringLiteral("testsrc=size=160x120:rate=10:duration=%1").arg(seconds),
                  QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                  QStringLiteral("aevalsrc='%1':s=16000:d=%2").arg(audioExpr).arg(seconds), QStringLiteral("-c:v"),
                  QStringLiteral("libx264"), QStringLiteral("-c:a"), QStringLiteral("pcm_s16le"), path});
        return ff.waitForFinished(60000) && ff.exitCode() == 0 && QFileInfo(path).size() > 0;
    }

    QVariantMap Params(const QString& file, const QString& saveDir, bool merge = false)
    {
        return QVariantMap{{QStringLiteral("sFile"), file},          {QStringLiteral("sSaveDir"), saveDir},
                           {QStringLiteral("nDuration"), 10},        {QStringLiteral("nDecibel"), 30},
                           {QStringLiteral("dMinSec"), 1.0},         {QStringLiteral("bMergeVideo"), merge}};
    }

    // Runs one voice work to its end and returns its finished map.
    QVariantMap Run(const QVariantMap& params)
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(5);
        if (!work)
            return {};
        work->SetParams(params);
        work->StartWork();
        work->JoinWork(120000);
        m_pLib->ReleaseWork(work);
        const auto finished = TestHost::Of(WorkLibRs_Finished);
        return finished.size() == 1 ? finished.first().toMap() : QVariantMap{{QStringLiteral("count"), finished.size()}};
    }

    static QVariantMap ResData(const QVariantMap& finished) { return finished.value(QStringLiteral("res_data")).toMap(); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_tmp.isValid());
        TestHost::Install(QVariantMap{{QStringLiteral("appData"), m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        QVERIFY(m_pLib);
        m_sMedia = m_tmp.filePath(QStringLiteral("talk.mkv"));
        m_sTone = m_tmp.filePath(QStringLiteral("tone.mkv"));
        QVERIFY2(MakeMedia(m_sMedia, QStringLiteral("if(between(t,2,4)+between(t,6,8),0,0.5*sin(2*PI*440*t))"), 10),
                 "ffmpeg must be able to make the test recording");
        QVERIFY(MakeMedia(m_sTone, QStringLiteral("0.5*sin(2*PI*440*t)"), 3));
    }

    void segments_data()
    {
        QTest::addColumn<QVariantList>("silences");
        QTest::addColumn<double>("minSec");
        QTest::addColumn<qint64>("duration");
        QTest::addColumn<QVariantList>("expected");

        const QVariantList two = Intervals({{2.0, 3.0}, {5.0, 9.0}});
        QTest::newRow("keeps all three") << two << 1.5 << qint64(12) << Intervals({{0, 2.0}, {3.0, 5.0}, {9.0, 13}});
        QTest::newRow("exact length dropped") << two << 2.0 << qint64(12) << Intervals({{9.0, 13}});
        QTest::newRow("leading silence") << Intervals({{0, 1.5}}) << 0.5 << qint64(4) << Intervals({{1.5, 5}});
        QTest::newRow("leading silence, negative min") << Intervals({{0, 1.5}}) << -0.5 << qint64(4)
                                                      << Intervals({{0, 0}, {1.5, 5}});
        QTest::newRow("trailing silence") << Intervals({{3.0, 6.0}}) << 1.0 << qint64(6) << Intervals({{0, 3.0}});
        QTest::newRow("no silence, no segment") << QVariantList() << 0.0 << qint64(60) << QVariantList();
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
        const QString saveDir = m_tmp.filePath(QStringLiteral("out"));
        const QVariantMap finished = Run(Params(m_sMedia, saveDir));
        QCOMPARE(finished.value(QStringLiteral("nPos")).toInt(), 100);
        QCOMPARE(ResData(finished).value(QStringLiteral("resMsg")).toString(), QString());
        QCOMPARE(ResData(finished).value(QStringLiteral("nFindNum")).toInt(), 3);

        const QString folder = saveDir + QStringLiteral("/talk");
        QCOMPARE(ReadText(folder + QStringLiteral("/talk.csv")),
                 QStringLiteral("file,start,end,duration\n"
                                "0,000000,000002,2\n"
                                "1,000004,000006,1.99994\n"
                                "2,000008,000011,2.99994\n"));
        for (const char* name : {"000000-0.mp4", "000004-1.mp4", "000008-2.mp4"})
            QVERIFY2(QFileInfo(folder + QLatin1Char('/') + QLatin1String(name)).size() > 0, name);

        // The stretch times reach ffmpeg as short decimal texts; a cut re-encodes.
        const QStringList cuts = TestHost::LogsWith(QStringLiteral("CProcessWork::StartTask Info exec -y -ss 4.00006"));
        QCOMPARE(cuts.size(), 1);
        QVERIFY2(cuts.first().endsWith(QStringLiteral("exec -y -ss 4.00006 -to 6 -i ") + m_sMedia
                                       + QStringLiteral(" -vsync 0 -acodec aac -vcodec libx264 ") + folder
                                       + QStringLiteral("/000004-1.mp4")),
                 qPrintable(cuts.first()));

        QList<int> positions;
        for (const QVariant& p : TestHost::Of(WorkLibRs_Progress)) {
            QCOMPARE(p.toMap().value(QStringLiteral("nMax")).toInt(), 100);
            QCOMPARE(p.toMap().value(QStringLiteral("user_data")).toMap(), Params(m_sMedia, saveDir));
            positions.append(p.toMap().value(QStringLiteral("nPos")).toInt());
        }
        QCOMPARE(positions, (QList<int>{0, 33, 66}));
    }

    void mergeListsBareNames()
    {
        const QString saveDir = m_tmp.filePath(QStringLiteral("merge"));
        const QVariantMap finished = Run(Params(m_sMedia, saveDir, true));
        QCOMPARE(ResData(finished).value(QStringLiteral("nFindNum")).toInt(), 3);
        const QString folder = saveDir + QStringLiteral("/talk");
        QCOMPARE(ReadText(folder + QStringLiteral("/tmp_concat.txt")),
                 QStringLiteral("000000-0.mp4\n000004-1.mp4\n000008-2.mp4\n"));
        const QString concat = QStringLiteral("exec -y -f concat -safe 0 -i ") + folder
            + QStringLiteral("/tmp_concat.txt -acodec copy -vcodec copy ") + folder + QStringLiteral("/azr-talk.mp4");
        QVERIFY2(TestHost::Logs().filter(QStringLiteral("CProcessWork::StartTask")).filter(concat).size() == 1,
                 "the merge runs ffmpeg's concat on the list file, in the result folder");
        // The list holds bare names, which this ffmpeg's concat reader does not take as
        // file directives: it refuses the list and no merged file appears.
        QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/azr-talk.mp4")));
    }

    void noSilenceNoSegments()
    {
        const QString saveDir = m_tmp.filePath(QStringLiteral("tone"));
        const QVariantMap finished = Run(Params(m_sTone, saveDir, true));
        QCOMPARE(ResData(finished).value(QStringLiteral("resMsg")).toString(), QString());
        QCOMPARE(ResData(finished).value(QStringLiteral("nFindNum")).toInt(), 0);
        QCOMPARE(ReadText(saveDir + QStringLiteral("/tone/tone.csv")), QStringLiteral("file,start,end,duration\n"));
        QCOMPARE(ReadText(saveDir + QStringLiteral("/tone/tmp_concat.txt")), QString());
        QCOMPARE(TestHost::Count(WorkLibRs_Progress), 0);
    }

    void awkwardNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("spaces") << QStringLiteral("my talk 1");
        QTest::newRow("quotes") << QStringLiteral("it's \"quoted\"");
        QTest::newRow("non-ascii") << QStringLiteral("Grüße ünd 声音");
        QTest::newRow("leading dash") << QStringLiteral("-i talk");
    }

    // Quotes make the base name unusable as a folder, so the counter-named folder is used.
    void awkwardNames()
    {
        QFETCH(QString, name);
        const QString dir = m_tmp.filePath(QStringLiteral("names/") + QString::number(qHash(name)));
        QVERIFY(QDir().mkpath(dir));
        const QString file = dir + QLatin1Char('/') + name + QStringLiteral(".mkv");
        QVERIFY(QFile::copy(m_sMedia, file));
        const QVariantMap finished = Run(Params(file, dir + QStringLiteral("/out dir")));
        QCOMPARE(ResData(finished).value(QStringLiteral("resMsg")).toString(), QString());
        QCOMPARE(ResData(finished).value(QStringLiteral("nFindNum")).toInt(), 3);
        const QString folderName = PubUtils::CheckFileName(name).isEmpty() ? QStringLiteral("detvoice") : name;
        const QStringList made = QDir(dir + QStringLiteral("/out dir")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCOMPARE(made.size(), 1);
        QVERIFY2(made.first().startsWith(folderName), qPrintable(made.first()));
    }

    void badInput_data()
    {
        QTest::addColumn<QString>("content"); // "<none>" for a missing file
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("missing") << QStringLiteral("<none>") << QStringLiteral("read_input_failed");
        QTest::newRow("empty") << QString() << QStringLiteral("read_input_failed");
        QTest::newRow("not media") << QStringLiteral("just some text, not a recording\n")
                                   << QStringLiteral("read_input_failed");
    }

    void badInput()
    {
        QFETCH(QString, content);
        QFETCH(QString, resMsg);
        const QString dir = m_tmp.filePath(QStringLiteral("bad/") + QLatin1String(QTest::currentDataTag()));
        QVERIFY(QDir().mkpath(dir));
        const QString file = dir + QStringLiteral("/input.mp4");
        if (content != QLatin1String("<none>")) {
            QFile f(file);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(content.toUtf8());
        }
        const QVariantMap finished = Run(Params(file, dir + QStringLiteral("/out")));
        QVERIFY2(!finished.contains(QStringLiteral("count")), "exactly one finished map per run");
        QCOMPARE(ResData(finished).value(QStringLiteral("resMsg")).toString(), resMsg);
        QVERIFY2(QDir(dir + QStringLiteral("/out/input")).isEmpty(), "a failed run leaves no output behind");
    }

    void saveFolderFallsBackToZorun()
    {
        const QString saveDir = m_tmp.filePath(QStringLiteral("blocked"));
        QVERIFY(QDir().mkpath(saveDir));
        QFile blocker(saveDir + QStringLiteral("/talk")); // a file where the result folder should go
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();

        const QVariantMap finished = Run(Params(m_sMedia, saveDir));
        QCOMPARE(ResData(finished).value(QStringLiteral("nFindNum")).toInt(), 3);
        const QStringList lines = TestHost::LogsWith(QStringLiteral("CDetVoiceWork::DoWork Warn>> mkdir save dir failed ")
                                                     + saveDir + QStringLiteral("/talk use dir ") + saveDir
                                                     + QStringLiteral("/zorun"));
        QCOMPARE(lines.size(), 1);
        const QString used = lines.first().mid(lines.first().lastIndexOf(QStringLiteral(" use dir ")) + 9);
        QCOMPARE(ReadText(used + QStringLiteral("/talk.csv")).count(QLatin1Char('\n')), 4);
    }

    void unusableSaveFolder()
    {
        const QString file = m_tmp.filePath(QStringLiteral("plain-file"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.close();
        const QVariantMap finished = Run(Params(m_sMedia, file + QStringLiteral("/below")));
        QCOMPARE(ResData(finished).value(QStringLiteral("resMsg")).toString(), QStringLiteral("save_dir_failed"));
    }

    void missingFfmpeg()
    {
        const QByteArray path = qgetenv("PATH");
        PubUtils::SetAppDir(m_tmp.path()); // no ffmpeg here either
        qputenv("PATH", m_tmp.filePath(QStringLiteral("nowhere")).toUtf8());
        const QVariantMap finished = Run(Params(m_sMedia, m_tmp.filePath(QStringLiteral("noff"))));
        qputenv("PATH", path);
        PubUtils::SetAppDir(QString());
        QCOMPARE(ResData(finished).value(QStringLiteral("resMsg")).toString(), QStringLiteral("ffmpeg_not_found"));
    }
};

QTEST_GUILESS_MAIN(TstDetVoiceWork)
#include "tst_detvoicework.moc"
