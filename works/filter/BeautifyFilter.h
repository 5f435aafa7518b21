#pragma once
// Skin smoothing and whitening: a bilateral high-pass blend followed by a whitening curve.

#include "works/filter/CFilter.h"

/**
 * @brief The beautify filter.
 *
 * Options: "nDegree" 0..6 (smoothing), "nDetails" 1..5 (detail blur), "nOpacity"
 * 1..99 (blend weight in tenths; above 10 it extrapolates away from the source),
 * "nWhite" 0..5 (whitening), "bShow" (shrink pictures larger than 601 pixels to 600
 * and show the result in the topmost "preview" window).
 *
 * Where no window can be opened (no display, or a host without a QApplication) the
 * picture is still filtered and returned, and one Info line tells why nothing was shown.
 *
 * Returns: 0 success; -1 empty source, unreadable file or bad options at SetFilter;
 * -2 bad kept options at filtering time.
 */
class BeautifyFilter : public CFilter
{
public:
    BeautifyFilter();

    int SetFilter(const QVariantMap& options) override;
    int DoFilter(cv::Mat src, cv::Mat& dst) override;
    int DoFilter(const char* path, cv::Mat& dst) override;
    int Reset() override;

    /// The whitening lookup table for strength @p nWhite.
    cv::Mat WhiteTable(int nWhite) const;

private:
    static bool InRange(int nDegree, int nDetails, int nOpacity, int nWhite);
    static void Show(const cv::Mat& picture);

    QVariantMap m_mapOptions;
    qint32 m_nDegree = 0;
    qint32 m_nDetails = 0;
    qint32 m_nOpacity = 0;
    qint32 m_nWhite = 0;
    double m_dHighlight[256];
    double m_dMidtone[4][256];
    double m_dHighlightRev[256];
};
