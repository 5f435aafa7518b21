#pragma once
// The colour measures of one frame and their summaries (a whole run, one second of it):
// plain computations on BGR pictures, used by the colour work and its benchmark.

#include <QString>
#include <QVariantMap>
#include <QVector>

#include <opencv2/core.hpp>

/**
 * @brief Colour measures of 8-bit BGR frames.
 *
 * Every measure reads a nearest-pixel sample of the frame, at most kSampleSide pixels on
 * its longer side (smaller frames whole). Per frame:
 * - brightness: the sample's mean grey value (0..255, Rec. 601 weights);
 * - shadows, highlights: the share (0..1) of sample pixels whose grey value is at most
 *   kShadowGrey or at least kHighlightGrey (clipped to black or white);
 * - cast: the mean a* and b* (CIE Lab, D65, through OpenCV's 8-bit conversion) of a
 *   thumbnail at most kThumbSide on its longer side (area-averaged); positive a* is
 *   magenta, negative green, positive b* yellow, negative blue;
 * - grey-world gains: per channel, the mean of the thumbnail's three channel means over
 *   the channel's own mean (clamped to kMinGain..kMaxGain); multiplying the channels by
 *   them makes the three means equal, the picture's average a neutral grey;
 * - dominant colours: k-means (in Lab) over the pixels of the thumbnail shrunk to at most
 *   kClusterSide, each colour the mean BGR of its cluster with its share of the pixels,
 *   largest first; clusters closer than kMergeDistance (Lab units) are one colour.
 */
class CColourMeasure
{
public:
    static constexpr int kSampleSide = 320;
    static constexpr int kThumbSide = 64;
    static constexpr int kClusterSide = 32;
    static constexpr int kShadowGrey = 4;
    static constexpr int kHighlightGrey = 251;
    static constexpr double kMinGain = 0.25;
    static constexpr double kMaxGain = 4.0;
    static constexpr double kMergeDistance = 10.0;
    static constexpr int kMaxColours = 8;

    struct Colour
    {
        cv::Vec3b bgr;
        cv::Vec3f lab;
        double share = 0;
        /** "#rrggbb", lower case. */
        QString Hex() const;
    };

    struct Frame
    {
        double brightness = 0;
        double a = 0;
        double b = 0;
        double gainR = 1, gainG = 1, gainB = 1;
        double shadows = 0;
        double highlights = 0;
        QVector<Colour> colours;
    };

    /** One measured frame of a run: frame number and its own time in milliseconds. */
    struct Sample
    {
        qint64 id = 0;
        qint64 timeMs = 0;
        Frame frame;
    };

    /** The measures of an 8-bit BGR frame with at most @p colours dominant colours (1..kMaxColours). */
    static Frame Measure(const cv::Mat& bgr, int colours);

    /**
     * Dominant colours of several measures pooled: each input colour weighs its share,
     * colours closer than kMergeDistance are joined (share-weighted mean), the @p count
     * largest are kept, shares relative to the whole pool.
     */
    static QVector<Colour> MergeColours(const QVector<Colour>& pool, int count);

    /** The means of the samples [from, to) and their merged colours. */
    static Frame Mean(const QVector<Sample>& samples, int from, int to, int colours);

    /** "none" below a chroma of 3, else the stronger axis: "magenta", "green", "yellow" or "blue". */
    static QString CastName(double a, double b);

    /**
     * The per-second timeline as CSV text: a header, then one row per second of the
     * samples' times that holds samples (samples in time order):
     * second,samples,brightness,cast_a,cast_b,gain_r,gain_g,gain_b,shadows,highlights,colours
     * where colours is "#rrggbb:share" items joined by spaces.
     */
    static QByteArray TimelineCsv(const QVector<Sample>& samples, int colours);

    /**
     * The summary of a run for the result map: "dBrightness", "dCastA", "dCastB",
     * "sCast", "dGainR", "dGainG", "dGainB", "dShadows", "dHighlights" and "lstColours"
     * ({"sColour", "dShare"} maps), rounded as the CSV writes them.
     */
    static QVariantMap Summary(const Frame& mean);
};
