// The library object through the exported entry points: the work factory, release
// and teardown.

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "core/CObjLibImp.h"
#include "core/WorkTypes.h"

#include <QPointer>
#include <QThread>
#include <QtTest>

#include <atomic>

static std::atomic<int> g_messages{0};

class TestObjLibImp : public QObject
{
    Q_OBJECT

    CWorkLib* m_lib = nullptr;
    CObjLibImp* m_imp = nullptr;

private Q_SLOTS:
    void initTestCase()
    {
        m_lib = CreateWorkLib([](WorkLibRs, const QVariant&) { ++g_messages; }, QVariantMap{{"appData", "/zrw/data"}});
        m_imp = dynamic_cast<CObjLibImp*>(m_lib);
        QVERIFY2(m_imp, "the entry point hands out the library object");
        QCOMPARE(WorkBaseData::PubUtils::GetDataDir(), QString("/zrw/data"));
    }

    void factory_data()
    {
        QTest::addColumn<int>("type");
        for (int t = -1; t <= 16; ++t)
            QTest::newRow(qPrintable(QString::number(t))) << t;
    }
    // Exactly the work table's types give a work, of the table's class.
    void factory()
    {
        QFETCH(int, type);
        const size_t before = m_imp->Works().size();
        CDetWork* work = m_lib->CreateWork(type);
        CDetWork* other = m_lib->CreateWork(type);
        QCOMPARE(m_imp->Works().size(), before + 2);
        QCOMPARE(m_imp->Works()[before], work);
        const WorkTypeInfo* row = FindWorkType(type);
        QCOMPARE(work != nullptr, row != nullptr);
        if (row)
            QCOMPARE(dynamic_cast<QObject*>(work)->metaObject()->className(), row->sClass);
        QPointer<QThread> thread(dynamic_cast<QThread*>(work)), otherThread(dynamic_cast<QThread*>(other));
        QVERIFY2(!work || (work->GetType() == type && thread && !work->IsWorking()), "a work is an idle thread of its type");
        // Twice: a released work is no longer listed, while nullptr takes the second null entry.
        QVERIFY(m_lib->ReleaseWork(work) && m_lib->ReleaseWork(work));
        QCOMPARE(m_imp->Works().size(), before + (work ? 1 : 0));
        QVERIFY2(thread.isNull() && (!work || otherThread), "only the released work is destroyed");
        QVERIFY(m_lib->ReleaseWork(other));
        QCOMPARE(m_imp->Works().size(), before);
    }

    // Last, since teardown is for good.
    void releaseWorkLibOfNullSilencesHost()
    {
        const int before = g_messages;
        ZRLOG(WorkBaseData::LOG_INFO, "T::release", "%s", "before");
        QCOMPARE(g_messages.load(), before + 1);
        ReleaseWorkLib(nullptr);
        ZRLOG(WorkBaseData::LOG_INFO, "T::release", "%s", "after");
        QCOMPARE(g_messages.load(), before + 1);
        QVERIFY2(m_lib->IsReady(), "the library object outlives the teardown");
    }
};

QTEST_GUILESS_MAIN(TestObjLibImp)
#include "tst_objlibimp.moc"
