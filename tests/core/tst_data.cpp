// The hub: message relay around start-up and teardown, the step table, the tick, and
// the face library's life cycle against a stand-in library.

#include "TestHost.h"
#include "base/PubUtils.h"
#include "core/CData.h"

#include <QSignalSpy>
#include <QTimer>
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

    void steps()
    {
        QVector<int> steps;
        for (int index = -1; index <= 7; ++index)
            steps << CData::GetInstance()->GetStep(index);
        QCOMPARE(steps, (QVector<int>{1, 1, 3, 6, 10, 20, 40, 100, 1}));
    }

    // A tick a second: the interval is read from the timer, one real tick shows the count.
    void tickCountsSeconds()
    {
        CData* hub = CData::GetInstance();
        const QTimer* timer = hub->findChild<QTimer*>();
        QVERIFY(timer && timer->interval() == 1000 && timer->timerType() == Qt::PreciseTimer);
        QSignalSpy ticks(hub, &CData::sgTimerUpdate);
        const int start = hub->GetTickCount();
        QVERIFY(ticks.wait(5000));
        QCOMPARE(ticks.at(0).at(0).toInt(), start + 1);
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
        QVERIFY(hub->Notify(3, QVariantMap()) && !hub->IsTimerActive() && TestHost::Count(3) == 1);
    }
};

QTEST_GUILESS_MAIN(TestData)
#include "tst_data.moc"
