#include "works/filter/PictureAlpha.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace {

cv::Mat To8Bit(const cv::Mat& picture)
{
    if (picture.depth() == CV_8U)
        return picture;
    cv::Mat out;
    // 16-bit values span 0..65535; anything else is taken as already 0..255.
    picture.convertTo(out, CV_8U, picture.depth() == CV_16U ? 1.0 / 257.0 : 1.0);
    return out;
}

} // namespace

bool PictureAlpha::Read(const QString& path)
{
    cv::Mat picture;
    try {
        picture = cv::imread(path.toLocal8Bit().toStdString(), cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception&) {
        picture.release();
    }
    if (picture.empty() || (picture.channels() != 1 && picture.channels() != 3 && picture.channels() != 4))
        return false;
    Set(picture);
    return true;
}

void PictureAlpha::Set(const cv::Mat& picture)
{
    const cv::Mat eight = To8Bit(picture);
    m_alpha.release();
    switch (eight.channels()) {
    case 1:
        cv::cvtColor(eight, m_colour, cv::COLOR_GRAY2BGR);
        break;
    case 4:
        cv::extractChannel(eight, m_alpha, 3);
        cv::cvtColor(eight, m_colour, cv::COLOR_BGRA2BGR);
        break;
    default:
        m_colour = eight;
        break;
    }
}

cv::Mat PictureAlpha::WithAlpha(const cv::Mat& colour) const
{
    const cv::Mat eight = To8Bit(colour);
    if (m_alpha.empty() || eight.channels() != 3)
        return eight;
    cv::Mat alpha = m_alpha;
    if (alpha.size() != eight.size())
        cv::resize(m_alpha, alpha, eight.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat out;
    cv::merge(std::vector<cv::Mat>{eight, alpha}, out);
    return out;
}
