// Silence removal: whole runs through the library object on media whose silences are
// known, and on input that cannot be read.

#include "TestHost.h"
#include "core/CObjLibImp.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

bool FFmpeg(const QStringList& args)
{
    QProcess ff;
    ff.start("ffmpeg", QStringList{"-v", "error", "-y"} + args);
    return ff.waitForFinished(60000) && ff.exitCode() == 0;
}

// Seconds of the media and its first stream's codec, as ffprobe sees them.
QString Probe(const QString& file)
{
    QProcess p;
    p.start("ffprobe", {"-v", "error", "-show_entries", "format=duration:stream=codec_name", "-of", "csv=p=0", file});
    p.waitForFinished(60000);
    return QString::fromUtf8(p.readAllStandardOutput()).simplified();
}

} // namespace

class TstRnSilenceWork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sVideo; // 8 s of picture and tone, the tone silent from 1 to 4 s and 5 to 7 s

    QVariantMap Run(const QVariantMap& params)
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(9);
        work->SetParams(params);
        work->StartWork();
        work->JoinWork(120000);
        m_pLib->ReleaseWork(work);
        const auto finished = TestHost::Of(WorkLibRs_Finished);
        return finished.size() == 1 ? finished.first().toMap() : QVariantMap{{"runs", finished.size()}};
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        m_sVideo = m_tmp.filePath("talk.mkv");
        QVERIFY(FFmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=8", "-f", "lavfi", "-i",
                        "aevalsrc='if(between(t,1,4)+between(t,5,7),0,0.5*sin(2*PI*440*t))':s=16000:d=8", "-c:v",
                        "libx264", "-c:a", "pcm_s16le", m_sVideo}));
    }

    void removesSilences()
    {
        const QString saveDir = m_tmp.filePath("out dir");
        QVERIFY(QDir().mkpath(saveDir) && QFile::copy(m_sVideo, saveDir + "/talk.mp3"));
        const QVariantMap params{{"sFile", m_sVideo}, {"sSaveDir", saveDir}, {"isVideo", false}, {"nDeMode", 3}};
        const QVariantMap finished = Run(params);
        // The output is named in the parameter map, not in the result map.
        QCOMPARE(finished.value("res_data").toMap(), (QVariantMap{{"resMsg", ""}}));
        QVariantMap withOut = params;
        withOut.insert("sOutFile", saveDir + "/talk_1.mp3");
        QCOMPARE(finished.value("user_data").toMap(), withOut);
        const QStringList probe = Probe(saveDir + "/talk_1.mp3").split(' ');
        QCOMPARE(probe.value(0), QString("mp3"));
        // Silences longer than a second go: about the 3 s of tone are left of 8.
        QVERIFY2(qAbs(probe.value(1).toDouble() - 3.0) < 0.3, qPrintable(probe.join(' ')));
        QCOMPARE(TestHost::Count(WorkLibRs_Progress), 1);
        QCOMPARE(TestHost::Of(WorkLibRs_Progress).first().toMap().value("nPos").toInt(), 5);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("input"); // "<none>" missing, "<silent video>", else the content
        QTest::addColumn<QString>("saveDir"); // below the case's folder; empty stays empty
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("missing") << "<none>" << "out" << "audioRemSilence_failed";
        QTest::newRow("empty") << "" << "out" << "audioRemSilence_failed";
        QTest::newRow("not media") << "just text\n" << "out" << "audioRemSilence_failed";
        QTest::newRow("video without sound") << "<silent video>" << "out" << "audioRemSilence_failed";
        QTest::newRow("no save dir") << "just text\n" << "" << "save_dir_failed";
        QTest::newRow("save dir below a file") << "just text\n" << "-in.mp4/out" << "save_dir_failed";
    }

    void failures()
    {
        QFETCH(QString, input);
        QFETCH(QString, saveDir);
        QFETCH(QString, resMsg);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag()), file = dir + "/-in.mp4";
        QVERIFY(QDir().mkpath(dir));
        if (input == "<silent video>")
            QVERIFY(FFmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=1", file}));
        else if (input != "<none>") {
            QFile f(file);
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(input.toUtf8()) == input.size());
        }
        const QVariantMap finished = Run({{"sFile", file}, {"sSaveDir", saveDir.isEmpty() ? "" : dir + "/" + saveDir}});
        QCOMPARE(finished.value("res_data").toMap(), (QVariantMap{{"resMsg", resMsg}}));
        QVERIFY(!finished.value("user_data").toMap().contains("sOutFile"));
        QCOMPARE(QDir(dir + "/out").entryList(QDir::Files), QStringList());
    }
};

QTEST_GUILESS_MAIN(TstRnSilenceWork)
#include "tst_rnsilencework.moc"
