// The hub: step table, message relay, tick timer and teardown.

#include "TestHost.h"
#include "core/CData.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

#include <climits>

using WorkBaseData::CData;

class TestData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Runs first, while no callback has ever been installed in this process.
    void notifyBeforeInitIsDropped()
    {
        CData* hub = CData::GetInstance();
        QCOMPARE(CData::Peek(), hub);
        QVERIFY2(!hub->Notify(2, QVariantMap{{"nPos", 1}}), "no host callback is stored yet");
        QVERIFY(hub->GetWorkLib() == nullptr);
        TestHost::Install();
        QVERIFY(hub->GetWorkLib() != nullptr);
        QVERIFY(hub->Notify(2, QVariantMap{{"nPos", 1}}));
        QCOMPARE(TestHost::Of(2), (QVector<QVariant>{QVariantMap{{"nPos", 1}}}));
    }

    // The log line is written in the constructor, before any host callback can
    // exist, so a host only ever sees its effect: no face library object.
    void noFaceLibraryBesideTheApplication()
    {
        QVERIFY2(CData::GetInstance()->GetFaceLib() == nullptr,
                 "the test programs' folder holds no zrfacelib");
    }

    void steps_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("step");
        QTest::newRow("-1") << -1 << 1;
        QTest::newRow("INT_MIN") << INT_MIN << 1;
        QTest::newRow("0") << 0 << 1;
        QTest::newRow("1") << 1 << 3;
        QTest::newRow("3") << 3 << 10;
        QTest::newRow("6") << 6 << 100;
        QTest::newRow("7") << 7 << 1;
        QTest::newRow("INT_MAX") << INT_MAX << 1;
    }
    void steps()
    {
        QFETCH(int, index);
        QFETCH(int, step);
        QCOMPARE(CData::GetInstance()->GetStep(index), step);
    }

    void tickCountsSeconds()
    {
        CData* hub = CData::GetInstance();
        QSignalSpy spy(hub, &CData::sgTimerUpdate);
        const int start = hub->GetTickCount();
        QElapsedTimer clock;
        clock.start();
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 5, 7000);
        QCOMPARE(spy.last().first().toInt(), start + 5);
        for (int i = 0; i < spy.count(); ++i)
            QCOMPARE(spy.at(i).first().toInt(), start + 1 + i);
        QVERIFY2(clock.elapsed() >= 4000 && clock.elapsed() < 6500,
                 qPrintable(QString("five ticks took %1 ms").arg(clock.elapsed())));
    }

    void releaseFalseChangesNothing()
    {
        CData* hub = CData::GetInstance();
        TestHost::Clear();
        hub->Release(false);
        QVERIFY(hub->IsTimerActive());
        QVERIFY(hub->Notify(1, QVariantMap{{"log", "still here"}}));
        QCOMPARE(TestHost::Logs(), QStringList{"still here"});
    }

    // Last: the hub's timer is not restarted by a later Init.
    void releaseForgetsCallbackAndStopsTimer()
    {
        CData* hub = CData::GetInstance();
        TestHost::Clear();
        hub->Release(true);
        QVERIFY(!hub->IsTimerActive());
        QVERIFY(hub->GetFaceLib() == nullptr);
        QVERIFY2(!hub->Notify(3, QVariantMap()), "the callback is forgotten");
        QCOMPARE(TestHost::Count(3), 0);

        // A new start-up brings the callback back but not the timer.
        TestHost::Install();
        QVERIFY(hub->Notify(3, QVariantMap()));
        QCOMPARE(TestHost::Count(3), 1);
        QVERIFY(!hub->IsTimerActive());
    }
};

QTEST_GUILESS_MAIN(TestData)
#include "tst_data.moc"
