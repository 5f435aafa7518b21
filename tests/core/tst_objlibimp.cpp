// The library object through the exported entry points: the work factory, release,
// device enumeration and teardown.

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "core/CData.h"
#include "core/CObjLibImp.h"

#include <QMutex>
#include <QPointer>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <climits>

namespace {

QMutex g_lock;
int g_messages = 0;

void Record(WorkLibRs, const QVariant&)
{
    QMutexLocker locker(&g_lock);
    ++g_messages;
}

int Messages()
{
    QMutexLocker locker(&g_lock);
    return g_messages;
}

} // namespace

class TestObjLibImp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dataDir.isValid());
        m_lib = CreateWorkLib(&Record, QVariantMap{{"appData", m_dataDir.path()}});
        QVERIFY2(m_lib, "the entry point hands out the library object");
        m_imp = dynamic_cast<CObjLibImp*>(m_lib);
        QVERIFY(m_imp);
        QCOMPARE(WorkBaseData::PubUtils::GetDataDir(), m_dataDir.path());
        QVERIFY2(m_lib->IsReady(), "ready before the model store is opened");
    }

    void unassignedTypesGiveNull_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("11") << 11;
        QTest::newRow("16") << 16;
        QTest::newRow("-1") << -1;
        QTest::newRow("INT_MIN") << INT_MIN;
    }
    void unassignedTypesGiveNull()
    {
        QFETCH(int, type);
        const size_t before = m_imp->Works().size();
        QVERIFY(m_lib->CreateWork(type) == nullptr);
        QVERIFY(m_lib->CreateWork(type) == nullptr);
        QCOMPARE(m_imp->Works().size(), before + 2);
        QVERIFY2(m_imp->Works().back() == nullptr, "an unknown type leaves a null entry");
        QVERIFY(m_lib->ReleaseWork(nullptr));
        QCOMPARE(m_imp->Works().size(), before + 1);
        QVERIFY(m_lib->ReleaseWork(nullptr));
        QCOMPARE(m_imp->Works().size(), before);
    }

    // Types whose work has not landed yet behave like 11; landed ones must carry their type.
    void assignedTypes_data()
    {
        QTest::addColumn<int>("type");
        for (int t = 0; t <= 15; ++t) {
            if (t != 11)
                QTest::newRow(qPrintable(QString::number(t))) << t;
        }
    }
    void assignedTypes()
    {
        QFETCH(int, type);
        const size_t before = m_imp->Works().size();
        CDetWork* work = m_lib->CreateWork(type);
        QCOMPARE(m_imp->Works().size(), before + 1);
        QCOMPARE(m_imp->Works().back(), work);
        QPointer<QThread> thread(dynamic_cast<QThread*>(work));
        if (type == 5)
            QVERIFY2(work, "the voice detection work has landed");
        if (work) {
            QCOMPARE(work->GetType(), type);
            QVERIFY2(thread, "every work is a thread");
            QVERIFY(!work->IsWorking());
        }
        QVERIFY(m_lib->ReleaseWork(work));
        QCOMPARE(m_imp->Works().size(), before);
        QVERIFY2(thread.isNull(), "the released work is destroyed");
    }

    void releasingTwiceDestroysOnce()
    {
        CDetWork* first = m_lib->CreateWork(5);
        CDetWork* second = m_lib->CreateWork(5);
        QVERIFY(first && second);
        QPointer<QThread> secondThread(dynamic_cast<QThread*>(second));
        const size_t before = m_imp->Works().size();
        QVERIFY(m_lib->ReleaseWork(first));
        QCOMPARE(m_imp->Works().size(), before - 1);
        QVERIFY2(m_lib->ReleaseWork(first), "a pointer no longer listed is a no-op");
        QCOMPARE(m_imp->Works().size(), before - 1);
        QVERIFY2(secondThread, "the other work must survive");
        QVERIFY(m_lib->ReleaseWork(second));
    }

    void enumDevicesVisitsInOrder()
    {
        const QStringList devices = WorkBaseData::PubUtils::EnumVideoDevices();
        QStringList seen;
        m_lib->EnumDevices([&](const QString& name) {
            seen.append(name);
            return true;
        });
        QCOMPARE(seen, devices);
        m_lib->EnumDevices(nullptr);

        if (devices.isEmpty())
            QSKIP("no capture device here, so there is no early stop to show");
        int calls = 0;
        m_lib->EnumDevices([&](const QString&) {
            ++calls;
            return false;
        });
        QCOMPARE(calls, 1);
    }

    // Last, since teardown is for good: the timer stays stopped afterwards, so the
    // null row goes first to show the stop.
    void releaseWorkLibIgnoresItsArgument_data()
    {
        QTest::addColumn<bool>("passNull");
        QTest::newRow("nullptr") << true;
        QTest::newRow("real object") << false;
    }
    void releaseWorkLibIgnoresItsArgument()
    {
        QFETCH(bool, passNull);
        WorkBaseData::CData* hub = WorkBaseData::CData::GetInstance();
        CWorkLib* lib = CreateWorkLib(&Record, QVariantMap{{"appData", m_dataDir.path()}});
        QVERIFY(lib);
        QCOMPARE(hub->IsTimerActive(), passNull);
        int before = Messages();
        ZRLOG(WorkBaseData::LOG_INFO, "TestObjLibImp::release", "before %d", 1);
        QCOMPARE(Messages(), before + 1);

        ReleaseWorkLib(passNull ? nullptr : lib);
        before = Messages();
        ZRLOG(WorkBaseData::LOG_INFO, "TestObjLibImp::release", "after %d", 1);
        QVERIFY(!hub->Notify(3, QVariantMap()));
        QCOMPARE(Messages(), before);
        QVERIFY2(!hub->IsTimerActive(), "the tick stops with the teardown");
        QVERIFY(hub->GetFaceLib() == nullptr);
        // The library object is not deleted by the teardown.
        QVERIFY(lib->IsReady());
        QCOMPARE(hub->GetWorkLib(), dynamic_cast<CObjLibImp*>(lib));
    }

private:
    QTemporaryDir m_dataDir;
    CWorkLib* m_lib = nullptr;
    CObjLibImp* m_imp = nullptr;
};

QTEST_GUILESS_MAIN(TestObjLibImp)
#include "tst_objlibimp.moc"
