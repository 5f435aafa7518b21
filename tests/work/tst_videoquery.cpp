// The "detVideoImg" question on real files, and the Mat-to-QImage colour order.
#include "work/CVideoQuery.h"

#include <QtTest>
#include <QProcess>
#include <QTemporaryDir>

#include <memory>
#include <opencv2/core.hpp>

class TestVideoQuery : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void matToQImage()
    {
        cv::Mat bgr(1, 2, CV_8UC3, cv::Scalar(255, 0, 10)); // blue, a little red
        const QImage img = CVideoQuery::MatToQImage(bgr);
        QCOMPARE(img.size(), QSize(2, 1));
        QCOMPARE(img.pixel(1, 0), qRgb(10, 0, 255));
        QCOMPARE(CVideoQuery::MatToQImage(cv::Mat(2, 2, CV_8UC1, cv::Scalar(7))).pixel(0, 0), qRgb(7, 7, 7));
        QVERIFY(CVideoQuery::MatToQImage(cv::Mat(2, 2, CV_32FC1)).isNull());
    }

    void answer_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("ret");
        QTest::newRow("video") << "detVideoImg" << "clip.mp4" << 0;
        QTest::newRow("not media") << "detVideoImg" << "" << 1; // the folder itself
        QTest::newRow("other type") << "faces" << "clip.mp4" << -1;
    }
    void answer()
    {
        QFETCH(QString, type);
        QFETCH(QString, file);
        QFETCH(int, ret);
        QTemporaryDir dir;
        QCOMPARE(QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10",
                                              "-t", "0.5", dir.filePath("clip.mp4")}), 0);

        auto token = std::make_shared<int>(0);
        QVariantMap got;
        int calls = 0;
        const QVariantMap args{{"type", type}, {"file", dir.filePath(file)}, {"tag", 3}};
        QCOMPARE(CVideoQuery::Answer(args, [token, &got, &calls](const QVariantMap& m) { got = m; ++calls; return true; }),
                 ret);
        QCOMPARE(token.use_count(), 1L); // the reply was released whatever happened
        QCOMPARE(calls, ret == 0 ? 1 : 0);
        if (ret == 0) {
            QCOMPARE(got.value("tag").toInt(), 3);
            QCOMPARE(got.value("desImage").value<QImage>().size(), QSize(160, 120));
        }
    }
};

QTEST_GUILESS_MAIN(TestVideoQuery)
#include "tst_videoquery.moc"
