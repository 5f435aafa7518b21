#pragma once
// Text boxes from a DB probability map: threshold, contours, box score, unclip.

#include <opencv2/core.hpp>

#include <vector>

class CDbBoxes
{
public:
    // prob: the CV_32F map; scale maps its pixels to the picture's. Boxes whose mean
    // probability is under 0.5 or whose short side is under 3 pixels are dropped; the rest
    // are grown by area * 2.0 / perimeter on every side, as the map marks shrunk text cores.
    static std::vector<cv::RotatedRect> Extract(const cv::Mat& prob, cv::Size2f scale);
};
