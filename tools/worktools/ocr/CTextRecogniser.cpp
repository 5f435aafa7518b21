#include "CTextRecogniser.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kRecHeight = 48;
constexpr int kRecMinWidth = 320;
constexpr int kClsWidth = 192;

// Height-fixed resize, (x/255 - 0.5)/0.5, zero padding on the right up to width.
cv::Mat LineBlob(const cv::Mat& line, int width, int maxContent)
{
    const double ratio = static_cast<double>(line.cols) / std::max(1, line.rows);
    const int content = std::clamp(static_cast<int>(std::ceil(kRecHeight * ratio)), 1, maxContent);
    cv::Mat resized;
    cv::resize(line, resized, cv::Size(content, kRecHeight));
    resized.convertTo(resized, CV_32FC3, 2.0 / 255, -1.0);
    cv::Mat padded = cv::Mat::zeros(kRecHeight, width, CV_32FC3);
    resized.copyTo(padded(cv::Rect(0, 0, content, kRecHeight)));
    return cv::dnn::blobFromImage(padded);
}

} // namespace

bool CTextRecogniser::Load(const std::string& recPath, const std::string& clsPath, const std::string& keysPath)
{
    std::vector<std::string> keys;
    if (!CCtcDecoder::LoadKeys(keysPath, &keys))
        return false;
    try {
        m_rec = cv::dnn::readNetFromONNX(recPath);
        m_cls = cv::dnn::readNetFromONNX(clsPath);
    } catch (const cv::Exception&) {
        return false;
    }
    m_decoder = std::make_unique<CCtcDecoder>(std::move(keys));
    return !m_rec.empty() && !m_cls.empty();
}

std::string CTextRecogniser::Recognise(const cv::Mat& line, float* confidence)
{
    const double ratio = static_cast<double>(line.cols) / std::max(1, line.rows);
    const int content = static_cast<int>(std::ceil(kRecHeight * ratio));
    const int width = std::max(kRecMinWidth, (content + 31) / 32 * 32);
    m_rec.setInput(LineBlob(line, width, width));
    const cv::Mat out = m_rec.forward();
    const int steps = out.size[1];
    const int classes = out.size[2];
    if (static_cast<size_t>(classes) != m_decoder->ClassCount()) {
        *confidence = 0;
        return std::string();
    }
    return m_decoder->Decode(out.ptr<float>(), steps, classes, confidence);
}

float CTextRecogniser::UpsideDown(const cv::Mat& line)
{
    m_cls.setInput(LineBlob(line, kClsWidth, kClsWidth));
    const cv::Mat out = m_cls.forward();
    return out.ptr<float>()[1];
}
