// zrwork's motion commands as a user runs them: real process, library, OpenCV, ffmpeg.

#include "ZrworkProcess.h"
#include "works/analysis/MoveTestUtil.h"

#include <QTemporaryDir>
#include <QtTest>

class TstZrworkMotion : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;

    // Exit status and the printed map.
    QPair<int, QVariantMap> Zrwork(const QStringList& args)
    {
        const ZrworkResult r = ::Zrwork(args);
        return {r.status, r.Json()};
    }

private Q_SLOTS:
    void motionPlotListSplit()
    {
        const QString clip = m_tmp.filePath("clip.mp4"), store = m_tmp.filePath("store"), plot = m_tmp.filePath("plot.png");
        QVERIFY(MakeMoveClip(clip));
        auto r = Zrwork({"motion", clip, "--store", store, "--step", "3", "--plot", plot});
        QCOMPARE(r.first, 0);
        const QVariantList events{QVariantMap{{"startTs", 3}, {"endTs", 5}}, QVariantMap{{"startTs", 8}, {"endTs", 9}}};
        QCOMPARE(r.second.value("res_data").toMap().value("lstEvents"), QVariant(events));
        QCOMPARE(QImage(plot).size(), QSize(1000, 300));
        QCOMPARE(Zrwork({"list", "--store", store, "--model", "move"}).second.value("total").toInt(), 1);
        r = Zrwork({"split", clip, "--save-dir", m_tmp.filePath("out"), "--store", store, "--step", "3", "--merge"});
        QCOMPARE(r.second.value("res_data").toMap().value("nFindNum").toInt(), 2);
        QVERIFY(QFileInfo(m_tmp.filePath("out/clip/azr-clip.mp4")).size() > 0);
        // A rerun gets a folder of its own rather than mixing with the first run's files.
        r = Zrwork({"split", clip, "--save-dir", m_tmp.filePath("out"), "--store", store, "--step", "3"});
        QCOMPARE(r.second.value("res_data").toMap().value("sOutDir").toString(), m_tmp.filePath("out/clip_1"));
        QCOMPARE(QDir(m_tmp.filePath("out/clip_1")).entryList(QDir::Files), (QStringList{"000003-0.mp4", "000008-1.mp4", "clip_1.csv"}));
    }

    // libx264 refuses odd sizes: the cuts are padded, and every stretch is cut.
    void splitOddSize()
    {
        const QString clip = m_tmp.filePath("odd.avi");
        QVERIFY(MakeMoveClip(clip, false, "161x121", "mpeg4"));
        const QVariantMap res = Zrwork({"split", clip, "--save-dir", m_tmp.filePath("odd"), "--step", "3"}).second.value("res_data").toMap();
        QCOMPARE(res.value("resMsg").toString(), QString());
        QCOMPARE(res.value("nFindNum").toInt(), 2);
    }

    // A store the user named that cannot be opened fails the run instead of being left out.
    void unusableStore()
    {
        const QString clip = m_tmp.filePath("clip.mp4"), notDir = m_tmp.filePath("a file");
        QVERIFY(QFileInfo::exists(clip) || MakeMoveClip(clip));
        QFile file(notDir);
        QVERIFY(file.open(QIODevice::WriteOnly));
        const auto r = Zrwork({"motion", clip, "--store", notDir});
        QCOMPARE(r.first, 1);
        QCOMPARE(r.second.value("res_data").toMap().value("resMsg").toString(), QString("store_open_failed"));
    }

    void usageErrors()
    {
        QCOMPARE(Zrwork({"motion", "x.mp4"}).first, 2); // no --store
        QCOMPARE(Zrwork({"split", "x.mp4", "--save-dir", "o", "--step", "7"}).first, 2); // step outside the table
    }
};

QTEST_GUILESS_MAIN(TstZrworkMotion)
#include "tst_zrworkmotion.moc"
