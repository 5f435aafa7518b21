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

    // The box pass on its own: prob is the CV_32F map, scale maps its pixels to the image.
    static std::vector<cv::RotatedRect> BoxesFromMap(const cv::Mat& prob, cv::Size2f scale);

private:
    cv::dnn::Net m_net;
};
