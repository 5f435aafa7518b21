#pragma once
// The colour work's frame step: grey-world white balance from OpenCV's xphoto module.

#include "works/filter/CFilter.h"

namespace cv::xphoto {
class GrayworldWB;
}

/**
 * @brief Grey-world white balance (cv::xphoto::GrayworldWB): scales the channels so that
 * the picture's average is neutral, ignoring pixels more saturated than 0.95 (strongly
 * coloured areas would otherwise pull the balance their way).
 *
 * Takes no options; SetFilter accepts any map.
 */
class WhiteBalanceFilter : public CFilter
{
public:
    WhiteBalanceFilter();
    ~WhiteBalanceFilter() override;

    int SetFilter(const QVariantMap& options) override;
    int DoFilter(cv::Mat src, cv::Mat& dst) override;
    int DoFilter(const char* path, cv::Mat& dst) override;
    int Reset() override;

private:
    cv::Ptr<cv::xphoto::GrayworldWB> m_pBalance;
};
