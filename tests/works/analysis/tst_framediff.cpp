// The frame change measure as a pure function on made-up pictures.

#include "works/analysis/CFrameDiff.h"

#include <QtTest>

// Left half dark, right half at level; as a checkerboard when checker is set.
static cv::Mat Halves(int level, bool checker = false)
{
    cv::Mat m(64, 64, CV_8UC3, cv::Scalar::all(20));
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c)
            if (checker ? (r + c) % 2 == 1 : c >= 4)
                m(cv::Rect(c * 8, r * 8, 8, 8)).setTo(cv::Scalar::all(level));
    return m;
}

Q_DECLARE_METATYPE(cv::Mat)
Q_DECLARE_METATYPE(cv::Rect)

class TstFrameDiff : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void pairs_data()
    {
        QTest::addColumn<cv::Mat>("first");
        QTest::addColumn<cv::Mat>("second");
        QTest::addColumn<cv::Rect>("rect");
        QTest::addColumn<int>("expected");
        QTest::addColumn<quint64>("signature"); // of the second frame
        const cv::Rect all(0, 0, 64, 64);
        QTest::newRow("first frame only") << cv::Mat() << Halves(200, true) << all << 0 << Q_UINT64_C(0x55AA55AA55AA55AA);
        QTest::newRow("uniform is all ones") << Halves(200) << Halves(20) << all << 32 << ~Q_UINT64_C(0);
        // 100..103 quantise alike: the change below a multiple of 4 is not seen.
        QTest::newRow("within a multiple of 4") << Halves(100) << Halves(103) << all << 0 << Q_UINT64_C(0xF0F0F0F0F0F0F0F0);
        QTest::newRow("whole inversion") << Halves(200, true) << cv::Mat(cv::Scalar::all(220) - Halves(200, true)) << all << 64 << Q_UINT64_C(0xAA55AA55AA55AA55);
        // Only the left half is measured: the right half changing counts for nothing.
        QTest::newRow("outside the region") << Halves(200) << Halves(60) << cv::Rect(0, 0, 32, 64) << 0 << ~Q_UINT64_C(0);
        QTest::newRow("inside the region") << Halves(200) << Halves(60) << cv::Rect(16, 0, 48, 64) << 0 << Q_UINT64_C(0xF8F8F8F8F8F8F8F8);
        // Nothing of the region on the picture: the whole picture is measured.
        QTest::newRow("region off the picture") << Halves(200) << Halves(200) << cv::Rect(500, 500, 9, 9) << 0 << Q_UINT64_C(0xF0F0F0F0F0F0F0F0);
    }

    void pairs()
    {
        QFETCH(cv::Mat, first);
        QFETCH(cv::Mat, second);
        QFETCH(cv::Rect, rect);
        QFETCH(int, expected);
        QFETCH(quint64, signature);
        CFrameDiff diff;
        if (!first.empty())
            QCOMPARE(diff.CalcFrameDiff(first, rect), 0);
        QCOMPARE(diff.CalcFrameDiff(second, rect), expected);
        QCOMPARE(QString::number(diff.Signature(), 16), QString::number(signature, 16));
        diff.Reset(); // the next frame starts over
        QCOMPARE(diff.CalcFrameDiff(first.empty() ? second : first, rect), 0);
    }
};

QTEST_GUILESS_MAIN(TstFrameDiff)
#include "tst_framediff.moc"
