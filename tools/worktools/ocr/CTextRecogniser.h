#pragma once
// Line recogniser (CTC) and the 0/180 degree line classifier.

#include "CCtcDecoder.h"

#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>

#include <memory>
#include <string>

class CTextRecogniser
{
public:
    bool Load(const std::string& recPath, const std::string& clsPath, const std::string& keysPath);

    // Text of one upright line crop (BGR) and its mean character confidence.
    std::string Recognise(const cv::Mat& line, float* confidence);
    // Probability that the crop is upside down.
    float UpsideDown(const cv::Mat& line);

private:
    cv::dnn::Net m_rec;
    cv::dnn::Net m_cls;
    std::unique_ptr<CCtcDecoder> m_decoder;
};
