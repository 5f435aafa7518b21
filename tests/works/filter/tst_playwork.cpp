// The preview player: its pacing clock and time line alone, then real playing of a clip
// whose pictures tell their frame numbers.

#include "PlayClip.h"
#include "TestFiles.h"
#include "TestHost.h"
#include "works/filter/CDetPlayWork.h"
#include "works/filter/CPlayClock.h"
#include "works/filter/CPlayTimeline.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

// The player's answer to a question; empty when it answered false.
QVariantMap Ask(CDetWork& work, const QVariantMap& args)
{
    QVariantMap answer;
    work.QueryWork(args, [&answer](const QVariantMap& m) {
        answer = m;
        return true;
    });
    return answer;
}

QVariantMap Frame(CDetWork& work)
{
    return Ask(work, {{"type", "curFrame"}});
}

int Code(const QVariantMap& frame)
{
    return PlayClip::FrameOf(frame.value("desImage").value<QImage>());
}

} // namespace

class TstPlayWork : public QObject
{
    Q_OBJECT
    QTemporaryDir m_tmp;
    const QString m_sClip = m_tmp.filePath("-a 'clip' é.mp4"); // names are no trouble
    const QString m_sSepia = QCoreApplication::applicationDirPath() + "/../worktools/styles/sepia.onnx";

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        QVERIFY(PlayClip::Make(m_sClip));
    }

    void clock()
    {
        CPlayClock c;
        QCOMPARE(c.WaitMs(1000, 5000), 0);   // the first frame anchors
        QCOMPARE(c.WaitMs(1040, 5000), 40);
        QCOMPARE(c.WaitMs(1040, 5030), 10);  // asked again after a wait
        QCOMPARE(c.WaitMs(1080, 5100), 0);   // 20 ms late: shown at once, pace kept
        QCOMPARE(c.WaitMs(1120, 5100), 20);
        QCOMPARE(c.WaitMs(1200, 6000), 0);   // far behind: anchors again
        QCOMPARE(c.WaitMs(1240, 6000), 40);
        c.SetSpeed(2);                        // a new speed anchors at the next frame
        QCOMPARE(c.WaitMs(1240, 6000), 0);
        QCOMPARE(c.WaitMs(1340, 6000), 50);
        QCOMPARE(c.WaitMs(200, 6000), 0);    // back in time (a seek without Reset)
        QCOMPARE(c.WaitMs(240, 6000), 20);
        c.SetSpeed(0);
        QCOMPARE(c.WaitMs(10000, 0), 0);
    }

    void timeline_data()
    {
        QTest::addColumn<double>("fps");
        QTest::addColumn<qint64>("ms");
        QTest::addColumn<qint64>("frame");
        QTest::addColumn<qint64>("time");
        QTest::newRow("start") << 25.0 << qint64(0) << qint64(0) << qint64(0);
        QTest::newRow("inside a frame") << 25.0 << qint64(1039) << qint64(25) << qint64(1000);
        QTest::newRow("past the end") << 25.0 << qint64(99999) << qint64(49) << qint64(1960);
        QTest::newRow("before the start") << 25.0 << qint64(-5) << qint64(0) << qint64(0);
        QTest::newRow("NTSC frame time maps back") << 30000.0 / 1001 << qint64(1001) << qint64(30) << qint64(1001);
    }
    void timeline()
    {
        QFETCH(double, fps);
        QFETCH(qint64, ms);
        const CPlayTimeline line(fps, 50);
        QFETCH(qint64, frame);
        QFETCH(qint64, time);
        QCOMPARE(line.FrameAt(ms), frame);
        QCOMPARE(line.TimeOf(line.FrameAt(ms)), time);
    }

    void stamps()
    {
        const CPlayTimeline line(25, 50);
        QCOMPARE(line.DurationMs(), qint64(2000));
        QCOMPARE(line.Stamp(0, 0, -1), qint64(0));
        QCOMPARE(line.Stamp(1200, 30, -1), qint64(1200));   // after a seek
        QCOMPARE(line.Stamp(0, 48, 1880), qint64(1920));    // a lost stamp
        QCOMPARE(line.Stamp(0, 49, -1), qint64(1960));      // lost, after a seek
        QVERIFY(!CPlayTimeline(0, 0).IsKnown());
        QCOMPARE(CPlayTimeline(25, 0).FrameAt(99999), qint64(2499)); // no count: no end to clamp to
    }

    void normalise_data()
    {
        QTest::addColumn<QVariantMap>("params");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<double>("speed");
        QTest::addColumn<QString>("filter");
        QTest::newRow("defaults") << QVariantMap() << true << 1.0 << "";
        QTest::newRow("fast, beautify") << QVariantMap{{"dSpeed", 0}, {"sFilter", "beautify"}, {"nDegree", 3}, {"nDetails", 2}, {"nOpacity", 5}, {"nWhite", 2}} << true << 0.0 << "beautify";
        QTest::newRow("negative speed") << QVariantMap{{"dSpeed", -2}} << false << 1.0 << "";
        QTest::newRow("sepia, paused") << QVariantMap{{"sFilter", "style"}, {"mapStyle", QVariantMap{{"sModel", m_sSepia}}}, {"bPause", true}} << true << 1.0 << "style";
        QTest::newRow("speed as text") << QVariantMap{{"dSpeed", "fast"}} << false << 1.0 << "";
        QTest::newRow("speed above 64") << QVariantMap{{"dSpeed", 100}} << false << 64.0 << "";
        QTest::newRow("unknown filter") << QVariantMap{{"sFilter", "blur"}} << false << 1.0 << "";
        QTest::newRow("beautify out of range") << QVariantMap{{"sFilter", "beautify"}, {"nDegree", 9}} << false << 1.0 << "";
        QTest::newRow("style without network") << QVariantMap{{"sFilter", "style"}, {"mapStyle", QVariantMap{{"sModel", m_sSepia + ".gone"}}}} << false << 1.0 << "";
    }
    void normalise()
    {
        QFETCH(QVariantMap, params);
        QFETCH(bool, ok);
        QFETCH(double, speed);
        QFETCH(QString, filter);
        CDetPlayWork work;
        QCOMPARE(work.SetParams(params), ok);
        QCOMPARE(work.Params().value("dSpeed").toDouble(), speed);
        QCOMPARE(work.Params().value("sFilter").toString(), filter);
    }

    void values()
    {
        CDetPlayWork work;
        QVERIFY(work.SetValue("dSpeed", 2.5) && work.SetValue("bPause", true) && work.SetValue("user_x", 1));
        QVERIFY(!work.SetValue("dSpeed", -1) && !work.SetValue("dSpeed", 65) && !work.SetValue("nSpeed", 1));
        QCOMPARE(work.GetValue("dSpeed", "none").toString(), QString("none")); // applied, not stored
        QVERIFY(!work.QueryWork({{"type", "curFrame"}}, nullptr) && !work.QueryWork({{"type", "info"}}, nullptr));
        QVERIFY(!work.QueryWork({{"type", "nope"}}, nullptr) && !work.QueryWork({{"type", "seek"}}, nullptr));
    }

    // At its own pace: every frame shown in order, each poll's picture is the frame it
    // names, progress runs to the end and one finished map says so.
    void playsInOrder()
    {
        TestHost::Clear();
        CDetPlayWork work;
        work.SetParams({{"sFile", m_sClip}});
        work.StartWork();
        QList<qint64> seen;
        int wrongPictures = 0;
        while (!work.IsFinished()) {
            const QVariantMap f = Frame(work);
            const qint64 n = f.value("nFrame", -1).toLongLong();
            if (n >= 0 && (seen.isEmpty() || seen.last() != n)) {
                seen << n;
                wrongPictures += Code(f) != n || f.value("nTime").toLongLong() != n * 40;
            }
            QTest::qSleep(5);
        }
        work.JoinWork(10000);
        QCOMPARE(wrongPictures, 0);
        QVERIFY2(std::is_sorted(seen.begin(), seen.end()) && seen.first() == 0 && seen.last() >= 45,
                 qPrintable(QString::number(seen.size())));
        // Polls 8x a frame: paced play shows most frames (a burst would show a handful).
        QVERIFY2(seen.size() >= 25, qPrintable(QString::number(seen.size())));
        const QList<int> pos = TestHost::Positions();
        QVERIFY(std::is_sorted(pos.begin(), pos.end()) && pos.size() >= 8 && pos.last() == 2000);
        QCOMPARE(TestHost::Count(WorkLibRs_Finished), 1);
        QCOMPARE(work.Result(), (QVariantMap{{"resMsg", ""}, {"nShown", 50}, {"nTime", 1960}, {"sEnd", "end"}}));
    }

    // Started paused: info, seeks that land on their frame and hold, a filter swapped on
    // the held frame, resume, stop.
    void seekPauseFilterStop()
    {
        TestHost::Clear();
        CDetPlayWork work;
        work.SetParams({{"sFile", m_sClip}, {"bPause", true}});
        work.StartWork();
        QTRY_VERIFY(!Frame(work).isEmpty());
        QCOMPARE(Ask(work, {{"type", "info"}}), (QVariantMap{{"type", "info"}, {"nDuration", 2000}, {"nWidth", 160}, {"nHeight", 120},
                                                           {"dFps", 25.0}, {"nFrames", 50}, {"bDevice", false}}));
        QVERIFY(PlayClip::ShowsBars(Frame(work).value("desImage").value<QImage>()));
        for (const QPair<int, int>& seek : QList<QPair<int, int>>{{1010, 25}, {1999, 49}, {5000, 49}, {-5, 0}, {760, 19}}) {
            const int ask = seek.first, frame = seek.second;
            const QVariantMap answer = Ask(work, {{"type", "seek"}, {"nTime", ask}});
            QCOMPARE(answer.value("nFrame").toInt(), frame);
            QTRY_VERIFY(!Frame(work).value("bSeeking").toBool());
            const QVariantMap f = Frame(work);
            QCOMPARE(f.value("nFrame").toInt(), frame);
            QCOMPARE(f.value("nTime").toInt(), frame * 40);
            QCOMPARE(Code(f), frame);
            QVERIFY(f.value("bPaused").toBool());
        }
        QTest::qWait(200);
        QCOMPARE(Frame(work).value("nFrame").toInt(), 19); // held

        const QImage plain = Frame(work).value("desImage").value<QImage>();
        QVERIFY(work.SetParams({{"sFile", m_sClip}, {"sFilter", "style"}, {"mapStyle", QVariantMap{{"sModel", m_sSepia}}}}));
        QTRY_VERIFY(Frame(work).value("desImage").value<QImage>() != plain);
        // The grey bar turns sepia; the frame stays the held one.
        const QRgb grey = Frame(work).value("desImage").value<QImage>().pixel(10, 15);
        QVERIFY2(qRed(grey) > qGreen(grey) + 10 && qGreen(grey) > qBlue(grey) + 10, qPrintable(QString::number(grey, 16)));
        QCOMPARE(Frame(work).value("nFrame").toInt(), 19);

        QCOMPARE(Ask(work, {{"type", "resume"}}).value("bPaused").toBool(), false);
        QTRY_VERIFY(Frame(work).value("nFrame").toInt() > 19);
        work.StopWork();
        work.JoinWork(10000);
        QCOMPARE(TestHost::Count(WorkLibRs_Finished), 1);
        QCOMPARE(work.Result().value("sEnd").toString(), QString("stop"));
        QCOMPARE(work.Result().value("resMsg").toString(), QString());
        // The map given while playing is the next run's.
        QCOMPARE(work.Params().value("sFilter").toString(), QString());
        work.StartWork();
        QCOMPARE(work.Params().value("sFilter").toString(), QString("style"));
        work.StopWork();
        work.JoinWork(10000);
    }

    // A crawl (a frame every 2 s) made as fast as possible while playing: the same run
    // shows every frame and ends.
    void speedChangesLive()
    {
        CDetPlayWork work;
        work.SetParams({{"sFile", m_sClip}, {"dSpeed", 0.02}});
        work.StartWork();
        QTRY_VERIFY(!Frame(work).isEmpty());
        QVERIFY(work.SetParams({{"sFile", m_sClip}, {"dSpeed", 0}}));
        QTRY_VERIFY_WITH_TIMEOUT(work.IsFinished(), 30000);
        QCOMPARE(work.Result().value("nShown").toInt(), PlayClip::kFrames);
        QCOMPARE(work.Result().value("sEnd").toString(), QString("end"));
    }

    void badInput_data()
    {
        QTest::addColumn<QVariantMap>("params");
        QTest::addColumn<QString>("word");
        const QString text = m_tmp.filePath("notes.mp4"), empty = m_tmp.filePath("empty.mp4");
        TestFiles::Write(text, "no video here\n");
        TestFiles::Write(empty, "");
        QTest::newRow("missing") << QVariantMap{{"sFile", m_tmp.filePath("gone.mp4")}} << "read_input_failed";
        QTest::newRow("nothing") << QVariantMap() << "read_input_failed";
        QTest::newRow("not media") << QVariantMap{{"sFile", text}} << "read_input_failed";
        QTest::newRow("empty") << QVariantMap{{"sFile", empty}} << "read_input_failed";
        QTest::newRow("folder") << QVariantMap{{"sFile", m_tmp.path()}} << "read_input_failed";
        QTest::newRow("no such device index") << QVariantMap{{"sDevice", "97"}} << "open_device_failed";
        QTest::newRow("no such device node") << QVariantMap{{"sDevice", "/dev/video97"}} << "open_device_failed";
        QTest::newRow("no such device as the input") << QVariantMap{{"sFile", "/dev/video97"}} << "open_device_failed";
        QTest::newRow("not a capture device") << QVariantMap{{"sDevice", "/dev/null"}} << "open_device_failed";
        QTest::newRow("a file as device") << QVariantMap{{"sDevice", m_sClip}} << "open_device_failed";
    }
    void badInput()
    {
        QFETCH(QVariantMap, params);
        QFETCH(QString, word);
        const QVariantMap res = TestHost::RunWork(0, params, 20000);
        QCOMPARE(res.value("resMsg").toString(), word);
        QVERIFY(!res.contains("nShown"));
    }
};

QTEST_GUILESS_MAIN(TstPlayWork)
#include "tst_playwork.moc"
