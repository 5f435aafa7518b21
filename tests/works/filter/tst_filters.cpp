// The picture filters on pictures made here: beautify against its written steps, style
// through tiny identity and inverting networks built with the tests.

#include "TestHost.h"
#include "works/filter/BeautifyFilter.h"
#include "works/filter/StyleFilter.h"

#include <QSize>
#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace {

// A smooth colour ramp with noise, values kept in lo..hi.
cv::Mat Picture(int w, int h, int lo = 0, int hi = 255)
{
    cv::Mat m(h, w, CV_8UC3);
    cv::RNG rng(7);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            m.at<cv::Vec3b>(y, x) = cv::Vec3b(x * 255 / w, y * 255 / h, 128) + cv::Vec3b(rng(30), rng(30), rng(30));
    return cv::max(cv::min(m, cv::Scalar::all(hi)), cv::Scalar::all(lo));
}

double MaxDiff(const cv::Mat& a, const cv::Mat& b)
{
    if (a.size() != b.size() || a.type() != b.type())
        return 1e9;
    return cv::norm(a, b, cv::NORM_INF);
}

uchar Sat(double v)
{
    return cv::saturate_cast<uchar>(v);
}

// The beautify steps written out pixel by pixel (the two OpenCV blurs aside).
cv::Mat BeautifyByHand(const cv::Mat& src, int degree, int details, int opacity, int white)
{
    cv::Mat smooth, blurred;
    cv::bilateralFilter(src, smooth, degree * 5, degree * 12.5, degree * 12.5);
    cv::Mat t(src.size(), CV_8UC3), out(src.size(), CV_8UC3);
    for (size_t i = 0; i < src.total() * 3; ++i)
        t.data[i] = Sat(smooth.data[i] - src.data[i] + 128.0);
    cv::GaussianBlur(t, blurred, cv::Size(2 * details - 1, 2 * details - 1), 0, 0);
    for (size_t i = 0; i < src.total() * 3; ++i) {
        const double detail = Sat(src.data[i] + 2.0 * blurred.data[i] - 255);
        const double mixed = Sat((detail * opacity * 10 + src.data[i] * (100.0 - opacity * 10)) / 100);
        const double d = (mixed - 127) / 127;
        out.data[i] = Sat(std::min(255, int(white * 15 * (1 - d * d) * 0.667) + int(mixed)));
    }
    return out;
}

} // namespace

class TstFilters : public QObject
{
    Q_OBJECT
    QTemporaryDir m_tmp;
    const QString m_sNets = QStringLiteral(ZRW_TEST_NETS);

    static QVariantMap Beauty(int degree, int details, int opacity, int white, bool show = false)
    {
        return {{"nDegree", degree}, {"nDetails", details}, {"nOpacity", opacity}, {"nWhite", white}, {"bShow", show}};
    }

private Q_SLOTS:
    void initTestCase() { TestHost::Install({{"appData", m_tmp.path()}}); }

    void beautify_data()
    {
        QTest::addColumn<QVector<int>>("v"); // nDegree, nDetails, nOpacity, nWhite
        QTest::newRow("usual") << QVector<int>{3, 2, 5, 2};
        QTest::newRow("degree 0") << QVector<int>{0, 1, 5, 1};
        QTest::newRow("opacity 10: the detail layer alone") << QVector<int>{4, 3, 10, 5};
        QTest::newRow("opacity 99 extrapolates, white 0") << QVector<int>{2, 5, 99, 0};
    }

    void beautify()
    {
        QFETCH(QVector<int>, v);
        const cv::Mat src = Picture(64, 48);
        BeautifyFilter filter;
        cv::Mat dst;
        QCOMPARE(filter.SetFilter(Beauty(v[0], v[1], v[2], v[3])), 0);
        QCOMPARE(filter.DoFilter(src, dst), 0);
        // One saturation per expression; the filter rounds in float, the steps here in double.
        QVERIFY(MaxDiff(dst, BeautifyByHand(src, v[0], v[1], v[2], v[3])) <= 1);
    }

    void beautifyRanges_data()
    {
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<QString>("values");
        QTest::newRow("degree 7") << Beauty(7, 1, 5, 0) << "7 1 5 0";
        QTest::newRow("details 0") << Beauty(1, 0, 5, 0) << "1 0 5 0";
        QTest::newRow("opacity 100") << Beauty(1, 5, 100, 0) << "1 5 100 0";
        QTest::newRow("white -1") << Beauty(6, 1, 1, -1) << "6 1 1 -1";
        QTest::newRow("nothing given") << QVariantMap() << "0 0 0 0";
    }

    void beautifyRanges()
    {
        QFETCH(QVariantMap, options);
        QFETCH(QString, values);
        TestHost::Clear();
        BeautifyFilter filter;
        cv::Mat dst;
        QCOMPARE(filter.SetFilter(options), -1);
        QCOMPARE(filter.DoFilter(Picture(8, 8), dst), -2);
        QCOMPARE(TestHost::LogsWith("parame check failed " + values).size(), 2);
        QCOMPARE(TestHost::LogsWith("BeautifyFilter::DoFilter Warn>> parame check failed").size(), 1);
        QCOMPARE(filter.DoFilter(cv::Mat(), dst), -1);
        QCOMPARE(filter.DoFilter(qPrintable(m_tmp.filePath("none.png")), dst), -1);
        QCOMPARE(TestHost::LogsWith("BeautifyFilter::DoFilter Info imread failed " + m_tmp.filePath("none.png")).size(), 1);
    }

    // Shrinking happens whether or not a window can be opened; this host has no display.
    void showShrinks()
    {
        BeautifyFilter filter;
        QCOMPARE(filter.SetFilter(Beauty(1, 1, 5, 1, true)), 0);
        for (const auto& [in, out] : {std::pair{QSize(601, 400), QSize(601, 400)}, {QSize(602, 400), QSize(600, 398)},
                                      {QSize(300, 900), QSize(200, 600)}}) {
            TestHost::Clear();
            cv::Mat dst;
            QCOMPARE(filter.DoFilter(Picture(in.width(), in.height()), dst), 0);
            QCOMPARE(QSize(dst.cols, dst.rows), out);
            QCOMPARE(TestHost::LogsWith("BeautifyFilter::DoFilter Info preview not shown: the host runs no QApplication").size(), 1);
        }
    }

    void style_data()
    {
        QTest::addColumn<QString>("net");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<int>("lo"); // picture values lo..254
        QTest::addColumn<QString>("expect");
        QTest::newRow("identity") << "identity.onnx" << QVariantMap() << 1 << "same";
        QTest::newRow("invert") << "invert.onnx" << QVariantMap() << 1 << "inverse";
        QTest::newRow("BGR2RGB swaps back") << "identity.onnx" << QVariantMap{{"BGR2RGB", true}} << 1 << "same";
        // One value below 1.0 makes the whole output count as 0..1.
        QTest::newRow("a zero scales by 255") << "identity.onnx" << QVariantMap() << 0 << "x255";
        QTest::newRow("colorGan") << "identity.onnx" << QVariantMap{{"colorGan", true}} << 1 << "half";
        QTest::newRow("bMedianBlur") << "identity.onnx" << QVariantMap{{"bMedianBlur", true}} << 1 << "median";
        QTest::newRow("capital ending") << "ID.ONNX" << QVariantMap() << 1 << "same";
    }

    void style()
    {
        QFETCH(QString, net);
        QFETCH(QVariantMap, options);
        QFETCH(int, lo);
        QFETCH(QString, expect);
        QFile::copy(m_sNets + "/identity.onnx", m_tmp.filePath("ID.ONNX"));
        const QString model = net == "ID.ONNX" ? m_tmp.filePath(net) : m_sNets + "/" + net;
        const cv::Mat src = Picture(32, 24, lo, 254);
        cv::Mat want, dst;
        if (expect == "same")
            want = src;
        else if (expect == "inverse")
            want = cv::Scalar::all(255) - src;
        else if (expect == "x255")
            want = src * 255;
        else if (expect == "half")
            cv::Mat(src * 0.5 + cv::Scalar::all(0.5)).convertTo(want, CV_8U);
        else
            cv::medianBlur(src, want, 5);
        options.insert("sModel", model);
        StyleFilter filter;
        QCOMPARE(filter.SetFilter(options), 0);
        QCOMPARE(filter.DoFilter(src, dst), 0);
        QVERIFY(MaxDiff(dst, want) <= (expect == "half" ? 1 : 0));
    }

    void fixInSize()
    {
        for (const auto& [picture, valid] : {std::pair{QSize(40, 20), QSize(16, 8)}, {QSize(20, 40), QSize(8, 16)}}) {
            const cv::Mat src = Picture(picture.width(), picture.height(), 1);
            StyleFilter filter;
            QCOMPARE(filter.SetFilter({{"sModel", m_sNets + "/identity.onnx"}, {"fixInSize", QSize(16, 16)}}), 0);
            cv::Mat dst, canvas = cv::Mat::zeros(40, 40, CV_8UC3), want;
            QCOMPARE(filter.DoFilter(src, dst), 0);
            QCOMPARE(filter.Options().value("fixOutSize").toSize(), valid);
            src.copyTo(canvas(cv::Rect(0, 0, src.cols, src.rows)));
            cv::resize(canvas, want, cv::Size(16, 16));
            // The black padding holds zeros, so the output counts as 0..1 and is scaled by 255.
            QCOMPARE(MaxDiff(dst, want(cv::Rect(0, 0, valid.width(), valid.height())) * 255), 0.0);
        }
    }

    void styleRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("log");
        QTest::newRow("unknown ending") << "net.bin" << QByteArray("x") << "mode not support ";
        QTest::newRow("damaged onnx") << "bad.onnx" << QByteArray("not a network") << "load mode failed ";
        QTest::newRow("damaged torch") << "bad.t7" << QByteArray("\x01\x02") << "load mode failed ";
        QTest::newRow("missing pb") << "none.pb" << QByteArray() << "load mode failed ";
    }

    void styleRefused()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(QString, log);
        TestHost::Clear();
        const QString path = m_tmp.filePath(name);
        if (!content.isEmpty()) {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(content) == content.size());
        }
        StyleFilter filter;
        cv::Mat dst;
        QCOMPARE(filter.SetFilter({{"sModel", path}}), -1);
        QCOMPARE(TestHost::LogsWith("StyleFilter::SetFilter Warn>> " + log + path).size(), 1);
        QCOMPARE(filter.DoFilter(Picture(8, 8), dst), -1);
        QCOMPARE(filter.DoFilter(qPrintable(m_tmp.filePath("none.png")), dst), -1);
        QCOMPARE(TestHost::LogsWith("StyleFilter::DoFilter Info imread failed. " + m_tmp.filePath("none.png")).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TstFilters)
#include "tst_filters.moc"
