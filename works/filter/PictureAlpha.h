#pragma once
// A picture split into the 8-bit BGR colour the filters work on and, when it has one,
// its alpha channel, put back afterwards at the filtered picture's size.

#include <QString>

#include <opencv2/core.hpp>

class PictureAlpha
{
public:
    // Decodes any picture OpenCV reads (grey, 16-bit, with or without alpha); false
    // when it cannot.
    bool Read(const QString& path);
    // Takes an already decoded picture of any depth and 1, 3 or 4 channels.
    void Set(const cv::Mat& picture);

    const cv::Mat& Colour() const { return m_colour; }
    bool HasAlpha() const { return !m_alpha.empty(); }

    // colour (any depth, saturated to 8 bits) with the alpha put back, scaled to
    // colour's size; colour alone when the picture had no alpha.
    cv::Mat WithAlpha(const cv::Mat& colour) const;

private:
    cv::Mat m_colour;
    cv::Mat m_alpha;
};
