// Split by motion: the cut files, the CSV and the joined file of the generated clip.

#include "MoveTestUtil.h"
#include "core/CObjLibImp.h"
#include "works/analysis/CSplitMoveWork.h"

#include <QTemporaryDir>
#include "TestFiles.h"

#include <QtTest>

namespace {

double Seconds(const QString& file)
{
    QProcess probe;
    probe.start("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", file});
    return probe.waitForFinished(30000) ? probe.readAllStandardOutput().trimmed().toDouble() : -1;
}

} // namespace

class TstSplitMoveWork : public QObject
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

    void cutsListsAndJoins()
    {
        const QString saveDir = m_tmp.filePath("it's out"), folder = saveDir + "/clip";
        const QVariantList events{QVariantMap{{"startTs", 3}, {"endTs", 5}}, QVariantMap{{"startTs", 8}, {"endTs", 9}}};
        QCOMPARE(RunWork(m_pLib, 4, {{"sFile", m_sClip}, {"sSaveDir", saveDir}, {"nStep", 3}, {"bMergeVideo", true}}),
                 (QVariantMap{{"resMsg", ""}, {"nFrameStep", 10}, {"nSamples", 10}, {"nDecoded", 100}, {"nFindNum", 2},
                              {"lstEvents", events}, {"sOutDir", folder}, {"sOutFile", folder + "/azr-clip.mp4"}}));
        QCOMPARE(TestFiles::Read(folder + "/clip.csv"),
                 QString("file,start,end,duration\n000003-0.mp4,000003,000005,2\n000008-1.mp4,000008,000009,1\n"));
        QCOMPARE(TestFiles::Read(folder + "/tmp_concat.txt"),
                 QString("file '%1/000003-0.mp4'\nfile '%1/000008-1.mp4'\n").arg(QString(folder).replace("'", "'\\''")));
        const double lengths[3] = {Seconds(folder + "/000003-0.mp4"), Seconds(folder + "/000008-1.mp4"),
                                   Seconds(folder + "/azr-clip.mp4")};
        QVERIFY2(qAbs(lengths[0] - 2) < 0.15 && qAbs(lengths[1] - 1) < 0.15 && qAbs(lengths[2] - 3) < 0.25,
                 qPrintable(QString("%1 %2 %3").arg(lengths[0]).arg(lengths[1]).arg(lengths[2])));
        QCOMPARE(TestHost::Of(WorkLibRs_Progress).last().toMap().value("nPos").toInt(), 100);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("saveDir");
        QTest::addColumn<QString>("resMsg");
        QTest::newRow("missing input") << "none.mp4" << "out" << "read_input_failed";
        QTest::newRow("no save dir") << "clip.mp4" << "" << "save_dir_failed";
        QTest::newRow("save dir below a file") << "clip.mp4" << "clip.mp4/out" << "save_dir_failed";
    }

    void failures()
    {
        QFETCH(QString, file);
        QFETCH(QString, saveDir);
        QFETCH(QString, resMsg);
        const QVariantMap res =
            RunWork(m_pLib, 4, {{"sFile", m_tmp.filePath(file)}, {"sSaveDir", saveDir.isEmpty() ? "" : m_tmp.filePath(saveDir)}});
        QCOMPARE(res.value("resMsg").toString(), resMsg);
        QVERIFY(!QFileInfo::exists(m_tmp.filePath("out")));
    }
};

QTEST_GUILESS_MAIN(TstSplitMoveWork)
#include "tst_splitmovework.moc"
