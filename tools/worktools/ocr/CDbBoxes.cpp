#include "CDbBoxes.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace {

constexpr float kBinaryThreshold = 0.3f;
constexpr float kBoxThreshold = 0.5f;
constexpr float kUnclipRatio = 2.0f;
constexpr float kMinSide = 3.f;

} // namespace

std::vector<cv::RotatedRect> CDbBoxes::Extract(const cv::Mat& prob, cv::Size2f scale)
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
