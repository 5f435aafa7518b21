#pragma once
// The interface shared by the still-picture filters the filter works and the preview
// player run on every picture.

#include <QVariantMap>

#include <opencv2/core.hpp>

/**
 * @brief A picture filter: configured once with an option map, then run on each picture.
 *
 * Pictures are 8-bit, three-channel BGR `cv::Mat`s. Every operation returns 0 on
 * success and a negative number on failure; none of them throws.
 */
class CFilter
{
public:
    virtual ~CFilter() = default;
    /// Validates and keeps the options.
    virtual int SetFilter(const QVariantMap& options) = 0;
    /// Filters one picture into @p dst.
    virtual int DoFilter(cv::Mat src, cv::Mat& dst) = 0;
    /// Reads the picture at @p path (local 8-bit text) and filters it into @p dst.
    virtual int DoFilter(const char* path, cv::Mat& dst) = 0;
    /// Reserved; the shipped filters return 0.
    virtual int Reset() = 0;
};
