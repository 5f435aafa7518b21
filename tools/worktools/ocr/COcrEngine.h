#pragma once
// The whole picture-to-lines pass: detection, line crops, orientation, recognition, order.

#include "CTextDetector.h"
#include "CTextRecogniser.h"

#include <string>
#include <vector>

class COcrEngine
{
public:
    bool Load(const std::string& det, const std::string& cls, const std::string& rec, const std::string& keys);
    // The picture's text lines in reading order; lines where nothing was read are left out.
    std::vector<std::string> Read(const cv::Mat& bgr);

    // A rotated box cut out and straightened, text running left to right.
    static cv::Mat CropLine(const cv::Mat& bgr, const cv::RotatedRect& box);

private:
    CTextDetector m_detector;
    CTextRecogniser m_recogniser;
};
