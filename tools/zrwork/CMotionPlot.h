#pragma once
// The picture of a motion analysis: the change measure over time, the level line and
// the events shaded, drawn with OpenCV.

#include <QString>
#include <QVariantList>
#include <QVector>

#include <opencv2/core.hpp>

class CMotionPlot
{
public:
    struct Point
    {
        qint64 timeMs;
        int diff;
    };

    // The measure (0..64) of the model file's rows in frame order; empty when it cannot be read.
    static QVector<Point> ReadModel(const QString& model);
    // A white width × height picture: events as shaded bands, the measure as a line,
    // the level as a red line, the time axis in seconds; the measure's scale
    // ends at the multiple of 8 above the highest value or level (64 at most).
    static cv::Mat Draw(const QVector<Point>& points, int level, const QVariantList& events, int width = 1000,
                        int height = 300);
};
