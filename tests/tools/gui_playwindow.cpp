// zrwork's preview window on a real X server (the test runs under xvfb-run): it shows the
// player's frame, as a screenshot of the server proves, and closes cleanly.

#include "CCliHost.h"
#include "CPlayWindow.h"
#include "PlayClip.h"

#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QtTest>

class GuiPlayWindow : public QObject
{
    Q_OBJECT
    QTemporaryDir m_tmp;
    const QString m_sClip = m_tmp.filePath("clip.mp4");

private Q_SLOTS:
    void initTestCase()
    {
        QCOMPARE(QGuiApplication::platformName(), QString("xcb"));
        QVERIFY(PlayClip::Make(m_sClip));
    }

    // Paused at frame 25: the server's picture of the window holds the clip's bars and
    // the frame's own number; closing stops the player with one finished map.
    void showsFrameAndCloses()
    {
        CCliHost host(false, m_tmp.path());
        CDetWork* work = host.Start(0, {{"sFile", m_sClip}, {"bPause", true}});
        QVERIFY(work);
        QTRY_VERIFY(work->QueryWork({{"type", "info"}}, nullptr));
        QVERIFY(work->QueryWork({{"type", "seek"}, {"nTime", 1000}}, nullptr));
        CPlayWindow window(work, "play test");
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_COMPARE(window.ShownFrame(), qint64(25));
        QTest::qWait(100); // the server has drawn what the window painted

        const QImage shot = window.screen()->grabWindow(window.winId()).toImage();
        shot.save(QCoreApplication::applicationDirPath() + "/playwindow.png");
        const QImage picture = shot.copy(window.FrameRect());
        QVERIFY2(picture.width() >= 300, qPrintable(QString::number(picture.width())));
        QVERIFY(PlayClip::ShowsBars(picture));
        QCOMPARE(PlayClip::FrameOf(picture), 25);

        window.close();
        QVERIFY(!work->IsWorking());
        QVariantMap finished;
        QCOMPARE(host.Finish(work, &finished), 0);
        QCOMPARE(finished.value("res_data").toMap().value("sEnd").toString(), QString("stop"));
    }

    // zrwork play itself opens the window, plays to the end and leaves with the map.
    void zrworkPlaysToTheEnd()
    {
        QProcess p;
        p.start(QCoreApplication::applicationDirPath() + "/zrwork", {"play", m_sClip, "--speed", "4", "--filter", "sepia"});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), 0);
        const QVariantMap map = QJsonDocument::fromJson(p.readAllStandardOutput()).toVariant().toMap();
        QCOMPARE(map.value("res_data").toMap(),
                 (QVariantMap{{"resMsg", ""}, {"nShown", PlayClip::kFrames}, {"nTime", 1960}, {"sEnd", "end"}}));
        QCOMPARE(map.value("user_data").toMap().value("sFilter").toString(), QString("style"));
    }
};

QTEST_MAIN(GuiPlayWindow)
#include "gui_playwindow.moc"
