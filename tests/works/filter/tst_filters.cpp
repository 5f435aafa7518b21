// The picture filters on pictures made here: beautify against its written steps, style
// through tiny identity and inverting networks built with the tests.

#include "TestFiles.h"
#include "TestHost.h"
#include "works/filter/BeautifyFilter.h"
#include "works/filter/StyleFilter.h"

#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

Q_DECLARE_METATYPE(cv::Mat)

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
    return a.size() == b.size() && a.type() == b.type() ? cv::norm(a, b, cv::NORM_INF) : 1e9;
}

// The beautify steps written out pixel by pixel (the two OpenCV blurs aside).
cv::Mat BeautifyByHand(const cv::Mat& src, const QVariantMap& o)
{
    const int degree = o["nDegree"].toInt(), details = o["nDetails"].toInt(), opacity = o["nOpacity"].toInt(), white = o["nWhite"].toInt();
    const auto sat = [](double v) { return cv::saturate_cast<uchar>(v); };
    cv::Mat smooth, blurred, t(src.size(), CV_8UC3), out(src.size(), CV_8UC3);
    cv::bilateralFilter(src, smooth, degree * 5, degree * 12.5, degree * 12.5);
    for (size_t i = 0; i < src.total() * 3; ++i)
        t.data[i] = sat(smooth.data[i] - src.data[i] + 128.0);
    cv::GaussianBlur(t, blurred, cv::Size(2 * details - 1, 2 * details - 1), 0, 0);
    for (size_t i = 0; i < src.total() * 3; ++i) {
        const double detail = sat(src.data[i] + 2.0 * blurred.data[i] - 255);
        const double mixed = sat((detail * opacity * 10 + src.data[i] * (100.0 - opacity * 10)) / 100);
        const double d = (mixed - 127) / 127;
        out.data[i] = sat(std::min(255, int(white * 15 * (1 - d * d) * 0.667) + int(mixed)));
    }
    return out;
}

// The identity network's output for src padded with black to the 16x16 input's shape,
// cut to the part the picture fills; the zeros make it count as 0..1, scaled by 255.
cv::Mat PaddedIdentity(const cv::Mat& src, int validW, int validH)
{
    cv::Mat canvas = cv::Mat::zeros(40, 40, CV_8UC3), want;
    src.copyTo(canvas(cv::Rect(0, 0, src.cols, src.rows)));
    cv::resize(canvas, want, cv::Size(16, 16));
    return want(cv::Rect(0, 0, validW, validH)) * 255;
}

} // namespace

class TstFilters : public QObject
{
    Q_OBJECT
    QTemporaryDir m_tmp;
    const QString m_sNets = QStringLiteral(ZRW_TEST_NETS);
    const QString m_sNone = m_tmp.filePath("none.png");

    static QVariantMap Beauty(int degree, int details, int opacity, int white, bool show = false)
    { return {{"nDegree", degree}, {"nDetails", details}, {"nOpacity", opacity}, {"nWhite", white}, {"bShow", show}}; }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        // A network in another format is a damaged one to the Torch reader.
        QVERIFY(QFile::copy(m_sNets + "/identity.onnx", m_tmp.filePath("ID.ONNX")) && QFile::copy(m_sNets + "/identity.onnx", m_tmp.filePath("bad.t7")));
        QVERIFY(TestFiles::Write(m_tmp.filePath("bad.onnx"), "not a network"));
    }

    // A refused row names the values its log lines give; the others follow the written
    // steps. Shown pictures shrink whether or not a window opens: this host has no display.
    void beautify_data()
    {
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<QSize>("in");
        QTest::addColumn<QSize>("out");
        QTest::addColumn<QString>("refused");
        const QSize s(64, 48);
        QTest::newRow("usual") << Beauty(3, 2, 5, 2) << s << s << "";
        QTest::newRow("degree 0") << Beauty(0, 1, 5, 1) << s << s << "";
        QTest::newRow("opacity 10: the detail layer alone") << Beauty(4, 3, 10, 5) << s << s << "";
        QTest::newRow("opacity 99 extrapolates, white 0") << Beauty(2, 5, 99, 0) << s << s << "";
        QTest::newRow("shown, 601 wide kept") << Beauty(1, 1, 5, 1, true) << QSize(601, 400) << QSize(601, 400) << "";
        QTest::newRow("shown, 602 wide shrunk") << Beauty(1, 1, 5, 1, true) << QSize(602, 400) << QSize(600, 398) << "";
        QTest::newRow("shown, tall shrunk") << Beauty(1, 1, 5, 1, true) << QSize(300, 900) << QSize(200, 600) << "";
        QTest::newRow("degree 7") << Beauty(7, 1, 5, 0) << s << s << "7 1 5 0";
        QTest::newRow("details 0") << Beauty(1, 0, 5, 0) << s << s << "1 0 5 0";
        QTest::newRow("opacity 100") << Beauty(1, 5, 100, 0) << s << s << "1 5 100 0";
        QTest::newRow("white -1") << Beauty(6, 1, 1, -1) << s << s << "6 1 1 -1";
        QTest::newRow("nothing given") << QVariantMap() << s << s << "0 0 0 0";
    }

    void beautify()
    {
        QFETCH(QVariantMap, options);
        QFETCH(QSize, in);
        QFETCH(QSize, out);
        QFETCH(QString, refused);
        TestHost::Clear();
        const cv::Mat src = Picture(in.width(), in.height());
        cv::Mat dst, shown;
        cv::resize(src, shown, cv::Size(out.width(), out.height()));
        BeautifyFilter filter;
        QCOMPARE(filter.SetFilter(options), refused.isEmpty() ? 0 : -1);
        QCOMPARE(filter.DoFilter(src, dst), refused.isEmpty() ? 0 : -2);
        // One saturation per expression; the filter rounds in float, the steps here in double.
        if (refused.isEmpty())
            QVERIFY(MaxDiff(dst, BeautifyByHand(shown, options)) <= 1);
        QCOMPARE(TestHost::LogsWith("parame check failed " + refused).size(), refused.isEmpty() ? 0 : 2);
        QCOMPARE(TestHost::LogsWith("BeautifyFilter::DoFilter Warn>> parame check failed").size(), refused.isEmpty() ? 0 : 1);
        QCOMPARE(TestHost::LogsWith("BeautifyFilter::DoFilter Info preview not shown: the host runs no QApplication").size(), options.value("bShow").toInt());
        QCOMPARE(filter.DoFilter(cv::Mat(), dst), -1);
        QCOMPARE(filter.DoFilter(qPrintable(m_sNone), dst), -1);
        QCOMPARE(TestHost::LogsWith("BeautifyFilter::DoFilter Info imread failed " + m_sNone).size(), 1);
    }

    // Nets named "../x" sit in the temporary folder; an empty "want" is a refused network.
    void style_data()
    {
        QTest::addColumn<QString>("net");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<cv::Mat>("src");
        QTest::addColumn<cv::Mat>("want");
        QTest::addColumn<QString>("log");
        const cv::Mat src = Picture(32, 24, 1, 254), zero = Picture(32, 24, 0, 254), wide = Picture(40, 20, 1), tall = Picture(20, 40, 1);
        cv::Mat half, median;
        cv::Mat(src * 0.5 + cv::Scalar::all(0.5)).convertTo(half, CV_8U);
        cv::medianBlur(src, median, 5);
        const QVariantMap none, fix{{"fixInSize", QSize(16, 16)}};
        QTest::newRow("identity") << "identity.onnx" << none << src << src << "";
        QTest::newRow("invert") << "invert.onnx" << none << src << cv::Mat(cv::Scalar::all(255) - src) << "";
        // Above 4 megapixels the network runs in overlapping tiles, put together seamlessly.
        const cv::Mat large = Picture(2100, 2050, 1, 254);
        QTest::newRow("large picture in tiles") << "invert.onnx" << none << large << cv::Mat(cv::Scalar::all(255) - large) << "";
        QTest::newRow("BGR2RGB swaps back, capital ending") << "../ID.ONNX" << QVariantMap{{"BGR2RGB", true}} << src << src << "";
        // One value below 1.0 makes the whole output count as 0..1.
        QTest::newRow("a zero scales by 255") << "identity.onnx" << none << zero << cv::Mat(zero * 255) << "";
        QTest::newRow("colorGan") << "identity.onnx" << QVariantMap{{"colorGan", true}} << src << half << "";
        QTest::newRow("bMedianBlur") << "identity.onnx" << QVariantMap{{"bMedianBlur", true}} << src << median << "";
        QTest::newRow("fixInSize, wide") << "identity.onnx" << fix << wide << PaddedIdentity(wide, 16, 8) << "";
        QTest::newRow("fixInSize, tall") << "identity.onnx" << fix << tall << PaddedIdentity(tall, 8, 16) << "";
        QTest::newRow("unknown ending") << "../net.bin" << none << src << cv::Mat() << "mode not support ";
        QTest::newRow("damaged onnx") << "../bad.onnx" << none << src << cv::Mat() << "load mode failed ";
        QTest::newRow("damaged torch") << "../bad.t7" << none << src << cv::Mat() << "load mode failed ";
        QTest::newRow("missing pb") << "../none.pb" << none << src << cv::Mat() << "load mode failed ";
    }

    void style()
    {
        QFETCH(QString, net);
        QFETCH(QVariantMap, options);
        QFETCH(cv::Mat, src);
        QFETCH(cv::Mat, want);
        QFETCH(QString, log);
        TestHost::Clear();
        const QString path = options.insert("sModel", net.startsWith("../") ? m_tmp.filePath(net.mid(3)) : m_sNets + "/" + net)->toString();
        StyleFilter filter;
        cv::Mat dst;
        QCOMPARE(filter.SetFilter(options), want.empty() ? -1 : 0);
        QCOMPARE(TestHost::LogsWith("StyleFilter::SetFilter Warn>> " + log + path).size(), int(want.empty()));
        QCOMPARE(filter.DoFilter(src, dst), want.empty() ? -1 : 0);
        QVERIFY(want.empty() || MaxDiff(dst, want) <= (QTest::currentDataTag() == QString("colorGan") ? 1 : 0));
        QCOMPARE(filter.DoFilter(qPrintable(m_sNone), dst), -1);
        QCOMPARE(TestHost::LogsWith("StyleFilter::DoFilter Info imread failed. " + m_sNone).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TstFilters)
#include "tst_filters.moc"
