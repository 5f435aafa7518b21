// Works on web addresses: the input is fetched once into the download cache and the
// work gives the result it gives on the local file.

#include "HttpTestServer.h"
#include "TestFiles.h"
#include "TestHost.h"
#include "ZrworkProcess.h"
#include "work/CUrlInput.h"

#include <QtTest>

class TstUrlInput : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    HttpTestServer m_server;

    QVariantMap Voice(const QString& file, const QString& saveDir)
    {
        return TestHost::RunWork(5, {{"sFile", file}, {"sSaveDir", m_tmp.filePath(saveDir)}, {"nDuration", 6},
                                     {"nDecibel", 30}, {"dMinSec", 1.0}, {"bMergeVideo", false}});
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.filePath("data")}});
        const QString media = m_tmp.filePath("media/talk.mkv");
        QDir().mkpath(m_tmp.filePath("media"));
        // Six seconds of picture and tone, the tone silenced from 2 to 4 s.
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=6",
                                              "-f", "lavfi", "-i", "aevalsrc='if(between(t,2,4),0,0.5*sin(2*PI*440*t))':s=16000:d=6",
                                              "-c:v", "libx264", "-c:a", "pcm_s16le", media}),
                 0);
        QVERIFY(m_server.Start(m_tmp.filePath("media")));
    }

    void sameResultAsTheLocalFileAndFetchedOnce()
    {
        QVariantMap local = Voice(m_tmp.filePath("media/talk.mkv"), "local");
        QCOMPARE(local.take("sOutDir").toString(), m_tmp.filePath("local/talk"));
        QCOMPARE(local.value("resMsg").toString(), QString());
        const QString url = m_server.Url("/static/talk.mkv");
        const QString cached = CUrlInput::CachePath(url);
        QVERIFY(cached.startsWith(m_tmp.filePath("data/DownCache/")));
        for (const char* run : {"first", "second"}) {
            QVariantMap remote = Voice(url, QString("remote-") + run);
            QCOMPARE(remote.take("sSourceUrl").toString(), url);
            QCOMPARE(remote.take("sLocalFile").toString(), cached);
            QCOMPARE(remote.take("sOutDir").toString(), m_tmp.filePath(QString("remote-%1/talk").arg(run)));
            QCOMPARE(remote, local);
            QCOMPARE(TestFiles::Read(m_tmp.filePath(QString("remote-%1/talk/talk.csv").arg(run))),
                     TestFiles::Read(m_tmp.filePath("local/talk/talk.csv")));
        }
        QCOMPARE(m_server.Hits("/static/talk.mkv"), 1);
    }

    void failedDownloadGivesTheInputWord()
    {
        const QVariantMap res = Voice(m_server.Url("/static/none.mkv"), "missing");
        QCOMPARE(res, (QVariantMap{{"resMsg", "read_input_failed"}, {"sDownMsg", "download_not_found"},
                                   {"sSourceUrl", m_server.Url("/static/none.mkv")}}));
        QCOMPARE(TestHost::LogsWith("download failed download_not_found").size(), 1);
        QVERIFY(!QFileInfo::exists(m_tmp.filePath("missing")));
    }

    // An address that answers a web page is fetched, then refused as no media by the work
    // (the preview player here), with the input word.
    void pageIsNoMedia()
    {
        QVERIFY(TestFiles::Write(m_tmp.filePath("media/page.html"), "<html><body>not a video</body></html>\n"));
        const QString url = m_server.Url("/static/page.html");
        const QVariantMap res = TestHost::RunWork(0, {{"sFile", url}});
        QCOMPARE(res.value("resMsg").toString(), QString("read_input_failed"));
        QCOMPARE(res.value("sSourceUrl").toString(), url);
    }

    // zrwork fetch: the file whole under its own name, or the download's word and no file.
    void zrworkFetch_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("whole") << "/static/talk.mkv" << 0 << "";
        QTest::newRow("missing") << "/static/none.mkv" << 1 << "download_not_found";
    }

    void zrworkFetch()
    {
        QFETCH(QString, path);
        QFETCH(int, status);
        QFETCH(QString, resMsg);
        const QString dir = m_tmp.filePath(QString("fetched-") + QTest::currentDataTag());
        const ZrworkResult r = Zrwork({"fetch", m_server.Url(path), "--save-dir", dir});
        QCOMPARE(r.status, status);
        QCOMPARE(r.Json().value("resMsg").toString(), resMsg);
        const QStringList files = QDir(dir).entryList(QDir::Files);
        QCOMPARE(files, status == 0 ? QStringList{"talk.mkv"} : QStringList());
        const auto bytes = [](const QString& file) {
            QFile f(file);
            return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        };
        if (status == 0)
            QCOMPARE(bytes(dir + "/talk.mkv"), bytes(m_tmp.filePath("media/talk.mkv")));
    }
};

QTEST_GUILESS_MAIN(TstUrlInput)
#include "tst_urlinput.moc"
