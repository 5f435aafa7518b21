// zrwork as a user runs it: real process, real library, real ffmpeg.

#include "store/CDBStore.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

class TstZrwork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    QString m_sBin;

    struct Result
    {
        int status = -1;
        QByteArray out, err;
    };

    Result Zrwork(const QStringList& args, int timeoutMs = 120000)
    {
        QProcess p;
        p.start(m_sBin, args);
        Result r;
        if (!p.waitForFinished(timeoutMs))
            p.kill();
        r.status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        r.out = p.readAllStandardOutput();
        r.err = p.readAllStandardError();
        return r;
    }

    static QVariantMap Json(const QByteArray& text)
    {
        return QJsonDocument::fromJson(text).object().toVariantMap();
    }

    bool MakeMedia(const QString& path, int seconds)
    {
        QProcess ff;
        ff.start(QStringLiteral("ffmpeg"),
                 {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                  QStringLiteral("-i"), QStringLiteral("testsrc=size=160x120:rate=10:duration=%1").arg(seconds),
                  QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                  QStringLiteral("aevalsrc='if(lt(mod(t,4),2),0.5*sin(2*PI*440*t),0)':s=16000:d=%1").arg(seconds),
                  QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-c:a"), QStringLiteral("aac"), path});
        return ff.waitForFinished(120000) && ff.exitCode() == 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_sBin = qEnvironmentVariable("ZRW_BIN_DIR") + QStringLiteral("/zrwork");
        QVERIFY2(QFileInfo(m_sBin).isExecutable(), qPrintable(m_sBin));
    }

    void types()
    {
        const Result r = Zrwork({QStringLiteral("types")});
        QCOMPARE(r.status, 0);
        const QStringList lines = QString::fromUtf8(r.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 16);
        QCOMPARE(lines.at(5), QStringLiteral(" 5  CDetVoiceWork          available"));
        QCOMPARE(lines.at(11), QStringLiteral("11  (unassigned)           unavailable"));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("nothing") << QStringList();
        QTest::newRow("unknown command") << QStringList{QStringLiteral("frobnicate")};
        QTest::newRow("type not a number") << QStringList{QStringLiteral("run"), QStringLiteral("five")};
        QTest::newRow("mistyped parameter") << QStringList{QStringLiteral("run"), QStringLiteral("5"), QStringLiteral("--param"),
                                                          QStringLiteral("nDecibel=loud")};
        QTest::newRow("type without work") << QStringList{QStringLiteral("run"), QStringLiteral("3")};
        QTest::newRow("voice without save dir") << QStringList{QStringLiteral("voice"), QStringLiteral("x.mp4")};
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        const Result r = Zrwork(args);
        QCOMPARE(r.status, 2);
        QVERIFY2(r.out.isEmpty(), "nothing on stdout when no work ran");
    }

    void failedWorkExitsNonZero()
    {
        const Result r = Zrwork({QStringLiteral("run"), QStringLiteral("5"), QStringLiteral("--param"),
                                 QStringLiteral("sFile=") + m_tmp.filePath(QStringLiteral("missing.mp4")), QStringLiteral("--param"),
                                 QStringLiteral("sSaveDir=") + m_tmp.path()});
        QCOMPARE(r.status, 1);
        const QVariantMap finished = Json(r.out);
        QCOMPARE(finished.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("resMsg")).toString(),
                 QStringLiteral("read_input_failed"));
        QCOMPARE(finished.value(QStringLiteral("nPos")).toInt(), 100);
    }

    void voice()
    {
        const QString media = m_tmp.filePath(QStringLiteral("my talk.mp4"));
        QVERIFY(MakeMedia(media, 8));
        const Result r = Zrwork({QStringLiteral("voice"), media, QStringLiteral("--save-dir"), m_tmp.filePath(QStringLiteral("out")),
                                 QStringLiteral("--min-sec"), QStringLiteral("0.5"), QStringLiteral("--verbose")});
        QVERIFY2(r.status == 0, r.err.constData());
        const QVariantMap finished = Json(r.out);
        const QVariantMap params = finished.value(QStringLiteral("user_data")).toMap();
        // nDuration comes from the media itself.
        QCOMPARE(params.value(QStringLiteral("nDuration")).toInt(), 8);
        QCOMPARE(params.value(QStringLiteral("nDecibel")).toInt(), 30);
        QCOMPARE(finished.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("nFindNum")).toInt(), 2);
        QVERIFY2(r.err.contains("progress 0/100\n"), "plain progress lines when stderr is not a terminal");
        QVERIFY2(r.err.contains("CProcessWork::StartTask Info exec -i "), "--verbose shows the library's log lines");
        QVERIFY(QFileInfo::exists(m_tmp.filePath(QStringLiteral("out/my talk/my talk.csv"))));
    }

    void listsTheCatalogue()
    {
        const QString store = m_tmp.filePath(QStringLiteral("store"));
        QVERIFY(CDBStore::GetInstance()->InitDBTable({{QStringLiteral("saveDir"), store + QStringLiteral("/zrModelData")}}) == 0);
        QFile media(m_tmp.filePath(QStringLiteral("clip.bin")));
        QVERIFY(media.open(QIODevice::WriteOnly) && media.write("content") == 7);
        media.close();
        VideoFileRecord record;
        QCOMPARE(CDBStore::GetInstance()->GetVideoFile(media.fileName(), record, true, 2), 0);

        const Result move = Zrwork({QStringLiteral("list"), QStringLiteral("--store"), store, QStringLiteral("--model"), QStringLiteral("move")});
        QCOMPARE(move.status, 0);
        const QVariantMap out = Json(move.out);
        QCOMPARE(out.value(QStringLiteral("total")).toInt(), 1);
        const QVariantMap row = out.value(QStringLiteral("rows")).toList().value(0).toMap();
        QCOMPARE(row.value(QStringLiteral("sMd5")).toString(), QStringLiteral("9A0364B9E99BB480DD25E1F0284C8555")); // md5 of "content"
        QCOMPARE(row.value(QStringLiteral("sName")).toString(), QStringLiteral("clip"));
        QCOMPARE(row.value(QStringLiteral("nSize")).toInt(), 7);
        QCOMPARE(row.size(), 13);

        const Result face = Zrwork({QStringLiteral("list"), QStringLiteral("--store"), store});
        QCOMPARE(Json(face.out), (QVariantMap{{QStringLiteral("total"), 0}, {QStringLiteral("rows"), QVariantList()}}));
    }

    void interruptStopsTheWork()
    {
        const QString media = m_tmp.filePath(QStringLiteral("long.mp4"));
        QVERIFY(MakeMedia(media, 120));
        QProcess p;
        p.start(m_sBin, {QStringLiteral("voice"), media, QStringLiteral("--save-dir"), m_tmp.filePath(QStringLiteral("long-out")),
                         QStringLiteral("--min-sec"), QStringLiteral("0.5")});
        QVERIFY(p.waitForStarted());
        // Interrupt once the cutting has begun, so the work is between two steps.
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(m_tmp.filePath(QStringLiteral("long-out/long/long.csv"))), 60000);
        ::kill(static_cast<pid_t>(p.processId()), SIGINT);
        QVERIFY2(p.waitForFinished(60000), "Ctrl-C must end the run after the current step");
        QCOMPARE(p.exitCode(), 1);
        const QVariantMap res = Json(p.readAllStandardOutput()).value(QStringLiteral("res_data")).toMap();
        QCOMPARE(res.value(QStringLiteral("resMsg")).toString(), QStringLiteral("task_stopped"));
        QVERIFY2(res.value(QStringLiteral("nFindNum")).toInt() < 30, "the stop came before all 30 stretches were cut");
    }
};

QTEST_GUILESS_MAIN(TstZrwork)
#include "tst_zrwork.moc"
