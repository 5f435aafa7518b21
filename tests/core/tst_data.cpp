// The hub: message relay around start-up and teardown, the step table, the tick, and
// the face library's life cycle against a stand-in library.

#include "TestHost.h"
#include "base/PubUtils.h"
#include "core/CData.h"

#include <QElapsedTimer>
#include <QtTest>

using WorkBaseData::CData;

class TestData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Runs first: the hub is built here, with the stand-in's folder as the application
    // folder, and no host callback has been installed yet.
    void notifyBeforeInitIsDropped()
    {
        WorkBaseData::PubUtils::SetAppDir(QStringLiteral(ZRW_FACE_STANDIN_DIR));
        CData* hub = CData::GetInstance();
        WorkBaseData::PubUtils::SetAppDir(QString());
        QVERIFY2(hub->GetFaceLib(), "the hub loads the face library beside the application");
        QVERIFY(!hub->Notify(2, QVariantMap{{"nPos", 1}}));
        TestHost::Install();
        QVERIFY(hub->Notify(2, QVariantMap{{"nPos", 1}}));
        QCOMPARE(TestHost::Of(2), (QVector<QVariant>{QVariantMap{{"nPos", 1}}}));
    }

    void steps_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("step");
        QTest::newRow("-1") << -1 << 1;
        QTest::newRow("0") << 0 << 1;
        QTest::newRow("1") << 1 << 3;
        QTest::newRow("6") << 6 << 100;
        QTest::newRow("7") << 7 << 1;
    }
    void steps()
    {
        QFETCH(int, index);
        QTEST(CData::GetInstance()->GetStep(index), "step");
    }

    void tickCountsSeconds()
    {
        CData* hub = CData::GetInstance();
        const int start = hub->GetTickCount();
        QElapsedTimer clock;
        QVector<int> ticks;
        QVector<qint64> times;
        QObject receiver;
        connect(hub, &CData::sgTimerUpdate, &receiver, [&](int tick) { ticks << tick; times << clock.elapsed(); });
        clock.start();
        QTRY_COMPARE_WITH_TIMEOUT(ticks.size(), 5, 7000);
        QCOMPARE(ticks, (QVector<int>{start + 1, start + 2, start + 3, start + 4, start + 5}));
        const qint64 span = times[4] - times[0];
        QVERIFY2(qAbs(span - 4000) < 200, qPrintable(QString("four intervals took %1 ms").arg(span)));
    }

    // Last: the teardown is for good, a later start-up brings back the callback only.
    void releaseFreesFaceLibraryThenForgetsHost()
    {
        CData* hub = CData::GetInstance();
        hub->Release(false);
        QVERIFY2(hub->IsTimerActive() && hub->GetFaceLib() && hub->Notify(3, QVariantMap()),
                 "Release(false) changes nothing");
        TestHost::Clear();
        hub->Release(true);
        hub->Release(true);
        QCOMPARE(TestHost::Of(1), (QVector<QVariant>{QVariantMap{{"log", "standin released"}}}));
        QVERIFY(!hub->IsTimerActive() && !hub->GetFaceLib());
        QVERIFY2(!hub->Notify(3, QVariantMap()), "the callback is forgotten");
        TestHost::Install();
        QVERIFY(hub->Notify(3, QVariantMap()) && !hub->IsTimerActive());
        QCOMPARE(TestHost::Count(3), 1);
    }
};

QTEST_GUILESS_MAIN(TestData)
#include "tst_data.moc"
