#pragma once
// Neural style transfer of one picture through an OpenCV dnn network.

#include "works/filter/CFilter.h"

#include <opencv2/dnn.hpp>

/**
 * @brief The style filter.
 *
 * Options: "sModel" (the network; ".t7" Torch, ".pb" TensorFlow, ".onnx" ONNX, the
 * ending compared without regard to case), "bMedianBlur" (subtract the mean colour
 * before and add it back after the network, then a 5-wide median filter), "colorGan"
 * (the output lies in -1..1), "fixInSize" (QSize; the picture is padded with black to
 * that aspect ratio and resized to it; the valid output area is written back as
 * "fixOutSize") and "BGR2RGB" (channel swap before and after the network).
 *
 * Without "bMedianBlur" the output is multiplied by 255 as soon as any one value is
 * below 1.0, and used as it is otherwise: networks that give 0..255 should keep their
 * output at 1 and above.
 *
 * The result is an 8-bit BGR picture (the float output saturated to 0..255). Returns 0
 * on success, -1 on failure (logged); nothing throws.
 */
class StyleFilter : public CFilter
{
public:
    int SetFilter(const QVariantMap& options) override;
    int DoFilter(cv::Mat src, cv::Mat& dst) override;
    int DoFilter(const char* path, cv::Mat& dst) override;
    int Reset() override;

    /// The options, with "fixOutSize" as the last DoFilter wrote it.
    QVariantMap Options() const { return m_mapOptions; }

private:
    // The network's raw output for picture as a three-channel float picture; empty on failure.
    cv::Mat Forward(const cv::Mat& picture, const cv::Scalar& mean);
    // The same, in tiles for large pictures.
    cv::Mat ForwardTiled(const cv::Mat& picture, const cv::Scalar& mean);

    cv::dnn::Net m_net;
    QVariantMap m_mapOptions;
};
