#include "works/filter/StyleFilter.h"

#include "base/CLogWriter.h"
#include "work/CProcessWork.h"

#include <QSize>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

using namespace WorkBaseData;

int StyleFilter::SetFilter(const QVariantMap& options)
{
    m_mapOptions = options;
    const QString sModel = options.value(QStringLiteral("sModel")).toString();
    const std::string path = sModel.toLocal8Bit().toStdString();
    const QByteArray name = sModel.toUtf8();
    m_net = cv::dnn::Net();
    try {
        if (sModel.endsWith(QLatin1String(".t7"), Qt::CaseInsensitive)) {
            m_net = cv::dnn::readNetFromTorch(path, true);
        } else if (sModel.endsWith(QLatin1String(".pb"), Qt::CaseInsensitive)) {
            m_net = cv::dnn::readNetFromTensorflow(path);
        } else if (sModel.endsWith(QLatin1String(".onnx"), Qt::CaseInsensitive)) {
            m_net = cv::dnn::readNetFromONNX(path);
        } else {
            ZRLOG(LOG_WARN, "StyleFilter::SetFilter", "mode not support %s", name.constData());
            return -1;
        }
    } catch (const cv::Exception&) {
        // A damaged or missing file: OpenCV throws; the caller hears of an empty network.
        m_net = cv::dnn::Net();
    }
    if (m_net.empty()) {
        ZRLOG(LOG_WARN, "StyleFilter::SetFilter", "load mode failed %s", name.constData());
        return -1;
    }
    m_net.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
    m_net.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
    return 0;
}

int StyleFilter::DoFilter(cv::Mat src, cv::Mat& dst)
{
    if (src.empty() || m_net.empty())
        return -1;
    const bool bSwap = m_mapOptions.value(QStringLiteral("BGR2RGB")).toBool();
    const bool bMedian = m_mapOptions.value(QStringLiteral("bMedianBlur")).toBool();
    const bool bGan = m_mapOptions.value(QStringLiteral("colorGan")).toBool();

    cv::Mat picture = src;
    const QSize fixIn = m_mapOptions.value(QStringLiteral("fixInSize")).toSize();
    if (m_mapOptions.contains(QStringLiteral("fixInSize")) && fixIn.width() >= 1 && fixIn.height() >= 1) {
        const float r = static_cast<float>(src.cols) / static_cast<float>(src.rows);
        const float t = static_cast<float>(fixIn.width()) / static_cast<float>(fixIn.height());
        cv::Size canvas;
        QSize valid;
        if (r <= t) {
            canvas = cv::Size(static_cast<int>(src.rows * t), src.rows);
            valid = QSize(static_cast<int>(fixIn.height() * r), fixIn.height());
        } else {
            canvas = cv::Size(src.cols, static_cast<int>(src.cols / t));
            valid = QSize(fixIn.width(), static_cast<int>(fixIn.width() / r));
        }
        m_mapOptions.insert(QStringLiteral("fixOutSize"), valid);
        cv::Mat padded = cv::Mat::zeros(canvas, src.type());
        src.copyTo(padded(cv::Rect(0, 0, std::min(src.cols, canvas.width), std::min(src.rows, canvas.height))));
        cv::resize(padded, picture, cv::Size(fixIn.width(), fixIn.height()), 0, 0, cv::INTER_LINEAR);
    }
    if (bSwap) {
        // Into a new buffer: picture may still share the caller's pixels.
        cv::Mat swapped;
        cv::cvtColor(picture, swapped, cv::COLOR_BGR2RGB);
        picture = swapped;
    }

    const cv::Scalar mean = bMedian ? cv::Scalar(103.939, 116.779, 123.68) : cv::Scalar();
    cv::Mat result = ForwardTiled(picture, mean);
    if (result.empty())
        return -1;
    double lo = 0;
    cv::minMaxLoc(result.reshape(1), &lo);
    const bool below = lo < 1.0;
    // In place: a tiled picture's result is large.
    if (!bMedian) {
        if (bGan)
            result.convertTo(result, -1, 0.5, 0.5);
        // Taken for a 0..1 output as soon as one value is below 1.0.
        if (below)
            result *= 255;
    } else {
        result += mean;
        result *= 0.00392156862745098;
        cv::medianBlur(result, result, 5);
        result *= 255;
    }
    if (m_mapOptions.contains(QStringLiteral("fixOutSize"))) {
        const QSize fixOut = m_mapOptions.value(QStringLiteral("fixOutSize")).toSize();
        result = result(cv::Rect(0, 0, std::min(fixOut.width(), result.cols), std::min(fixOut.height(), result.rows)));
    }
    if (bSwap)
        cv::cvtColor(result, result, cv::COLOR_BGR2RGB);
    result.convertTo(dst, CV_8U);
    return 0;
}

cv::Mat StyleFilter::Forward(const cv::Mat& picture, const cv::Scalar& mean)
{
    cv::Mat out;
    try {
        const cv::Mat blob = cv::dnn::blobFromImage(picture, 1.0, picture.size(), mean, false, false, CV_32F);
        m_net.setInput(blob, "", 1.0);
        out = m_net.forward();
    } catch (const cv::Exception& e) {
        ZRLOG(LOG_WARN, "StyleFilter::DoFilter", "forward failed %s", e.what());
        return cv::Mat();
    }
    if (out.dims != 4 || out.size[1] < 3) {
        ZRLOG(LOG_WARN, "StyleFilter::DoFilter", "unexpected output of %d dimensions", out.dims);
        return cv::Mat();
    }
    const int h = out.size[2], w = out.size[3];
    std::vector<cv::Mat> planes;
    for (int c = 0; c < 3; ++c)
        planes.emplace_back(h, w, CV_32F, out.ptr<float>(0, c));
    cv::Mat result;
    cv::merge(planes, result);
    return result;
}

cv::Mat StyleFilter::ForwardTiled(const cv::Mat& picture, const cv::Scalar& mean)
{
    // A whole 48-megapixel picture needs gigabytes of layer outputs; large pictures go
    // through the network in overlapping tiles, whose margins hide the seams from
    // kernels up to twice the margin wide.
    constexpr int kTileArea = 2048 * 2048, kSide = 1024, kMargin = 32;
    if (static_cast<double>(picture.cols) * picture.rows <= kTileArea)
        return Forward(picture, mean);
    const cv::Rect whole(0, 0, picture.cols, picture.rows);
    cv::Mat result(picture.size(), CV_32FC3);
    for (int y = 0; y < picture.rows; y += kSide) {
        for (int x = 0; x < picture.cols; x += kSide) {
            const cv::Rect core(x, y, std::min(kSide, picture.cols - x), std::min(kSide, picture.rows - y));
            const cv::Rect outer = cv::Rect(x - kMargin, y - kMargin, core.width + 2 * kMargin,
                                            core.height + 2 * kMargin) & whole;
            // A stopped work does not wait for the rest of a large picture.
            if (CProcessWork::StopRequested())
                return cv::Mat();
            cv::Mat out = Forward(picture(outer), mean);
            if (out.empty())
                return cv::Mat();
            // A network whose output is not its input's size is brought back to it.
            if (out.size() != outer.size())
                cv::resize(out, out, outer.size(), 0, 0, cv::INTER_LINEAR);
            out(cv::Rect(core.x - outer.x, core.y - outer.y, core.width, core.height)).copyTo(result(core));
        }
    }
    return result;
}

int StyleFilter::DoFilter(const char* path, cv::Mat& dst)
{
    const cv::Mat src = cv::imread(path ? path : "");
    if (src.empty()) {
        ZRLOG(LOG_INFO, "StyleFilter::DoFilter", "imread failed. %s", path ? path : "");
        return -1;
    }
    return DoFilter(src, dst);
}

int StyleFilter::Reset()
{
    return 0;
}
