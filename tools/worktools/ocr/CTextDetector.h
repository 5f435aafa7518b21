#pragma once
// DB text detector: probability map from the network, boxes from our own contour pass.

#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>

#include <string>
#include <vector>

class CTextDetector
{
public:
    bool Load(const std::string& path);

    // Rotated boxes around the text in image coordinates, already grown by the unclip ratio.
    std::vector<cv::RotatedRect> Detect(const cv::Mat& bgr);

private:
    cv::dnn::Net m_net;
};
