#include "CTextDetector.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kMaxSide = 960;
constexpr float kBinaryThreshold = 0.3f;
constexpr float kBoxThreshold = 0.5f;
constexpr float kUnclipRatio = 2.0f;
constexpr float kMinSide = 3.f;

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
    return BoxesFromMap(prob, cv::Size2f(static_cast<float>(bgr.cols) / size.width,
                                         static_cast<float>(bgr.rows) / size.height));
}

std::vector<cv::RotatedRect> CTextDetector::BoxesFromMap(const cv::Mat& prob, cv::Size2f scale)
{
    cv::Mat binary = prob > kBinaryThreshold;
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(binary, contours, cv::RETR_LIST, cv::CHAIN_APPROX_SIMPLE);
    std::vector<cv::RotatedRect> boxes;
    for (const auto& contour : contours) {
        if (contour.size() < 3)
            continue;
        cv::RotatedRect rect = cv::minAreaRect(contour);
        if (std::min(rect.size.width, rect.size.height) < kMinSide)
            continue;
        // Mean probability inside the contour, measured on its bounding window only.
        const cv::Rect window = cv::boundingRect(contour) & cv::Rect(0, 0, prob.cols, prob.rows);
        if (window.empty())
            continue;
        cv::Mat mask = cv::Mat::zeros(window.size(), CV_8U);
        std::vector<std::vector<cv::Point>> shifted{contour};
        for (cv::Point& p : shifted[0])
            p -= window.tl();
        cv::fillPoly(mask, shifted, cv::Scalar(1));
        if (cv::mean(prob(window), mask)[0] < kBoxThreshold)
            continue;
        // Unclip: the map marks a shrunk text core; grow it by area * ratio / perimeter.
        const double area = rect.size.area();
        const double perimeter = 2.0 * (rect.size.width + rect.size.height);
        const float grow = static_cast<float>(area * kUnclipRatio / perimeter);
        rect.size.width += 2 * grow;
        rect.size.height += 2 * grow;
        if (std::min(rect.size.width, rect.size.height) < kMinSide + 2)
            continue;
        // Back to image pixels; the axes of a rotated box take the mean scale.
        rect.center.x *= scale.width;
        rect.center.y *= scale.height;
        const float mean = 0.5f * (scale.width + scale.height);
        rect.size.width *= mean;
        rect.size.height *= mean;
        boxes.push_back(rect);
    }
    return boxes;
}
