#include "works/filter/BeautifyFilter.h"

#include "base/CLogWriter.h"

#include <QCoreApplication>
#include <QThread>

#include <opencv2/highgui.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

using namespace WorkBaseData;

namespace {

// Why the preview cannot be shown here, or an empty text when it can. OpenCV's window
// layer is Qt based: without a display it aborts the process, and beside a host's
// QCoreApplication it cannot create widgets at all.
QByteArray NoWindowReason()
{
    const QCoreApplication* app = QCoreApplication::instance();
    if (app && !app->inherits("QApplication"))
        return "the host runs no QApplication";
#if defined(Q_OS_WIN)
    return QByteArray();
#else
    if (app)
        return QByteArray();
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return "no display";
    return QByteArray();
#endif
}

} // namespace

BeautifyFilter::BeautifyFilter()
{
    for (int i = 0; i < 256; ++i) {
        const double d = (i - 127) / 127.0;
        m_dHighlight[i] = 1.075 - 1 / (i * 0.0625 + 1);
        for (auto& table : m_dMidtone)
            table[i] = (1 - d * d) * 0.667;
    }
    for (int i = 0; i < 256; ++i)
        m_dHighlightRev[i] = m_dHighlight[255 - i];
}

bool BeautifyFilter::InRange(int nDegree, int nDetails, int nOpacity, int nWhite)
{
    // Unsigned comparisons: a negative value wraps round and fails.
    return unsigned(nDegree) <= 6 && unsigned(nDetails - 1) <= 4 && unsigned(nOpacity - 1) <= 98 && unsigned(nWhite) <= 5;
}

int BeautifyFilter::SetFilter(const QVariantMap& options)
{
    const int nDegree = options.value(QStringLiteral("nDegree")).toInt();
    const int nDetails = options.value(QStringLiteral("nDetails")).toInt();
    const int nOpacity = options.value(QStringLiteral("nOpacity")).toInt();
    const int nWhite = options.value(QStringLiteral("nWhite")).toInt();
    m_nDegree = nDegree;
    m_nDetails = nDetails;
    m_nOpacity = nOpacity;
    m_nWhite = nWhite;
    if (!InRange(nDegree, nDetails, nOpacity, nWhite)) {
        ZRLOG(LOG_WARN, "BeautifyFilter::SetFilter", "parame check failed %d %d %d %d", nDegree, nDetails, nOpacity, nWhite);
        return -1;
    }
    m_mapOptions = options;
    return 0;
}

cv::Mat BeautifyFilter::WhiteTable(int nWhite) const
{
    cv::Mat table(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) {
        // The two zero-weighted curves stay in the sum: the table is tuned with them in place.
        int v = static_cast<int>(nWhite * 15 * m_dMidtone[1][i] + m_dHighlightRev[i] * 0.0 + m_dMidtone[0][i] * 0.0) + i;
        if (v > 255)
            v = 255;
        if (v < 1)
            v = 0;
        table.at<uchar>(i) = static_cast<uchar>(v);
    }
    return table;
}

int BeautifyFilter::DoFilter(cv::Mat src, cv::Mat& dst)
{
    if (src.empty()) {
        ZRLOG(LOG_WARN, "BeautifyFilter::DoFilter", "src empty");
        return -1;
    }
    if (!InRange(m_nDegree, m_nDetails, m_nOpacity, m_nWhite)) {
        ZRLOG(LOG_WARN, "BeautifyFilter::DoFilter", "parame check failed %d %d %d %d", m_nDegree, m_nDetails, m_nOpacity,
              m_nWhite);
        return -2;
    }
    const bool bShow = m_mapOptions.value(QStringLiteral("bShow")).toBool();
    // 601 to test, 600 to aim at: a picture 601 pixels wide is left alone.
    if (bShow && (src.cols > 601 || src.rows > 601)) {
        const double s = std::max(src.cols, src.rows) / 600.0;
        cv::Mat small;
        cv::resize(src, small, cv::Size(static_cast<int>(src.cols / s), static_cast<int>(src.rows / s)), 0, 0,
                   cv::INTER_LINEAR);
        src = small;
    }
    cv::Mat smooth;
    cv::bilateralFilter(src, smooth, m_nDegree * 5, m_nDegree * 12.5, m_nDegree * 12.5);
    // dst - src + 128 and src + 2 * dst - 255 as OpenCV's matrix expressions evaluate
    // them with plain numbers: one saturating pass over all channels, not one per operator.
    cv::Mat highPass;
    cv::addWeighted(smooth, 1, src, -1, 128, highPass);
    cv::Mat blurred;
    cv::GaussianBlur(highPass, blurred, cv::Size(2 * m_nDetails - 1, 2 * m_nDetails - 1), 0, 0);
    cv::Mat detail;
    cv::addWeighted(src, 1, blurred, 2, -255, detail);
    // Above 10 tenths the source weight turns negative; the range is kept as it is.
    cv::Mat blended = (detail * (m_nOpacity * 10) + src * (100 - m_nOpacity * 10)) / 100;
    cv::LUT(blended, WhiteTable(m_nWhite), dst);
    if (bShow)
        Show(dst);
    return 0;
}

void BeautifyFilter::Show(const cv::Mat& picture)
{
    const QByteArray reason = NoWindowReason();
    if (!reason.isEmpty()) {
        ZRLOG(LOG_INFO, "BeautifyFilter::DoFilter", "preview not shown: %s", reason.constData());
        return;
    }
    try {
        cv::namedWindow("preview", cv::WINDOW_NORMAL);
        cv::setWindowProperty("preview", cv::WND_PROP_TOPMOST, 1.0);
        cv::resizeWindow("preview", picture.cols, picture.rows);
        cv::imshow("preview", picture);
    } catch (const cv::Exception& e) {
        ZRLOG(LOG_INFO, "BeautifyFilter::DoFilter", "preview not shown: %s", e.what());
    }
}

int BeautifyFilter::DoFilter(const char* path, cv::Mat& dst)
{
    const cv::Mat src = cv::imread(path ? path : "");
    if (src.empty()) {
        ZRLOG(LOG_INFO, "BeautifyFilter::DoFilter", "imread failed %s", path ? path : "");
        return -1;
    }
    return DoFilter(src, dst);
}

int BeautifyFilter::Reset()
{
    return 0;
}
