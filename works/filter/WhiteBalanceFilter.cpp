#include "works/filter/WhiteBalanceFilter.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/xphoto/white_balance.hpp>

WhiteBalanceFilter::WhiteBalanceFilter()
    : m_pBalance(cv::xphoto::createGrayworldWB())
{
    m_pBalance->setSaturationThreshold(0.95f);
}

WhiteBalanceFilter::~WhiteBalanceFilter() = default;

int WhiteBalanceFilter::SetFilter(const QVariantMap& options)
{
    Q_UNUSED(options)
    return 0;
}

int WhiteBalanceFilter::DoFilter(cv::Mat src, cv::Mat& dst)
{
    if (src.empty() || src.type() != CV_8UC3)
        return -1;
    try {
        m_pBalance->balanceWhite(src, dst);
    } catch (const cv::Exception&) {
        return -1;
    }
    return dst.empty() ? -1 : 0;
}

int WhiteBalanceFilter::DoFilter(const char* path, cv::Mat& dst)
{
    cv::Mat src;
    try {
        src = cv::imread(path, cv::IMREAD_COLOR);
    } catch (const cv::Exception&) {
        return -1;
    }
    return DoFilter(src, dst);
}

int WhiteBalanceFilter::Reset()
{
    return 0;
}
