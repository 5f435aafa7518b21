// Motion detection: events and the row block on their own, then the analysis and the
// work on a generated clip, with and without the model store.

#include "MoveClip.h"
#include "TestHost.h"
#include "core/CObjLibImp.h"
#include "works/analysis/CMoveAnalysis.h"
#include "works/analysis/CDetMoveWork.h"

#include <QTemporaryDir>
#include <QtTest>

class TstDetMoveWork : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sClip;

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        m_sClip = m_tmp.filePath("clip.mp4");
        QVERIFY(MakeMoveClip(m_sClip));
    }

    void dump()
    {
        bool ok;
        for (int step : {0, 3}) {
            CMoveAnalysis a(CMoveWorkBase::Normalise({{"sFile", m_sClip}, {"nStep", step}}, 2, &ok));
            QCOMPARE(a.Run([] { return true; }, [](int) {}), QString());
            QString line;
            for (const auto& s : a.Samples())
                line += QString("%1:%2 ").arg(s.timeMs).arg(s.diff);
            qInfo() << line;
            qInfo() << a.Events();
        }
    }
};

QTEST_GUILESS_MAIN(TstDetMoveWork)
#include "tst_detmovework.moc"
