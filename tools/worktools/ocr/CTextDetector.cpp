#include "CTextDetector.h"

#include "CDbBoxes.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kMaxSide = 960;

int RoundTo32(double v)
{
    return std::max(32, static_cast<int>(std::round(v / 32.0)) * 32);
}

} // namespace

bool CTextDetector::Load(const std::string& path)
{
    try {
        m_net = cv::dnn::readNetFromONNX(path);
    } catch (const cv::Exception&) {
        return false;
    }
    // With fusion on, the detector's output goes wrong once the input size changes.
    m_net.enableFusion(false);
    return !m_net.empty();
}

std::vector<cv::RotatedRect> CTextDetector::Detect(const cv::Mat& bgr)
{
    const double ratio = std::min(1.0, static_cast<double>(kMaxSide) / std::max(bgr.cols, bgr.rows));
    const cv::Size size(RoundTo32(bgr.cols * ratio), RoundTo32(bgr.rows * ratio));
    cv::Mat resized;
    cv::resize(bgr, resized, size);
    resized.convertTo(resized, CV_32FC3, 1.0 / 255);
    // ImageNet statistics, applied in the channel order the detector was trained with (BGR).
    resized -= cv::Scalar(0.485, 0.456, 0.406);
    cv::divide(resized, cv::Scalar(0.229, 0.224, 0.225), resized);
    m_net.setInput(cv::dnn::blobFromImage(resized));
    const cv::Mat out = m_net.forward();
    const cv::Mat prob(out.size[2], out.size[3], CV_32F, const_cast<float*>(out.ptr<float>()));
    return CDbBoxes::Extract(prob, cv::Size2f(static_cast<float>(bgr.cols) / size.width,
                                         static_cast<float>(bgr.rows) / size.height));
}
