#include "works/analysis/CColourMeasure.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace {

double Round(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    return std::round(value * scale) / scale;
}

QString Fixed(double value, int decimals)
{
    return QString::number(Round(value, decimals), 'f', decimals);
}

double Gain(double grey, double channel)
{
    if (grey <= 0)
        return 1; // a black picture has no cast to remove
    return channel > 0 ? std::clamp(grey / channel, CColourMeasure::kMinGain, CColourMeasure::kMaxGain)
                       : CColourMeasure::kMaxGain;
}

cv::Size Scaled(cv::Size size, double scale)
{
    return cv::Size(std::max(1, qRound(size.width * scale)), std::max(1, qRound(size.height * scale)));
}

// The picture area-averaged down to at most side pixels on its longer side.
cv::Mat Shrunk(const cv::Mat& bgr, int side)
{
    const double scale = static_cast<double>(side) / std::max(bgr.cols, bgr.rows);
    if (scale >= 1.0)
        return bgr;
    cv::Mat out;
    cv::resize(bgr, out, Scaled(bgr.size(), scale), 0, 0, cv::INTER_AREA);
    return out;
}

// CIE Lab as floats (L 0..100, a and b about -128..127), through OpenCV's 8-bit table
// conversion: many times faster than the float one, and a mean of many pixels loses
// nothing to the rounding.
cv::Mat ToLab(const cv::Mat& bgr)
{
    cv::Mat lab8, lab;
    cv::cvtColor(bgr, lab8, cv::COLOR_BGR2Lab);
    lab8.convertTo(lab, CV_32F);
    cv::multiply(lab, cv::Scalar(100.0 / 255, 1, 1), lab);
    cv::subtract(lab, cv::Scalar(0, 128, 128), lab);
    return lab;
}

} // namespace

QString CColourMeasure::Colour::Hex() const
{
    return QStringLiteral("#%1%2%3")
        .arg(bgr[2], 2, 16, QLatin1Char('0'))
        .arg(bgr[1], 2, 16, QLatin1Char('0'))
        .arg(bgr[0], 2, 16, QLatin1Char('0'));
}

CColourMeasure::Frame CColourMeasure::Measure(const cv::Mat& bgr, int colours)
{
    Frame out;
    if (bgr.empty() || bgr.type() != CV_8UC3)
        return out;

    // Every measure reads a nearest-pixel sample: real pixels (clipping stays a per-pixel
    // matter), a fraction of the cost on large frames.
    cv::Mat sample, grey, hist;
    const double sampleScale = std::min(1.0, static_cast<double>(kSampleSide) / std::max(bgr.cols, bgr.rows));
    if (sampleScale < 1.0)
        cv::resize(bgr, sample, Scaled(bgr.size(), sampleScale), 0, 0, cv::INTER_NEAREST);
    else
        sample = bgr;
    cv::cvtColor(sample, grey, cv::COLOR_BGR2GRAY);
    const int channels[] = {0};
    const int bins[] = {256};
    const float range[] = {0, 256};
    const float* ranges[] = {range};
    cv::calcHist(&grey, 1, channels, cv::Mat(), hist, 1, bins, ranges);
    const double pixels = static_cast<double>(grey.total());
    double sum = 0, dark = 0, bright = 0;
    for (int i = 0; i < 256; ++i) {
        const double n = hist.at<float>(i);
        sum += n * i;
        if (i <= kShadowGrey)
            dark += n;
        if (i >= kHighlightGrey)
            bright += n;
    }
    out.brightness = sum / pixels;
    out.shadows = dark / pixels;
    out.highlights = bright / pixels;

    // Means are area averages: a thumbnail gives them at a fraction of the cost.
    const cv::Mat thumb = Shrunk(sample, kThumbSide);
    const cv::Scalar means = cv::mean(thumb);
    const double mean = (means[0] + means[1] + means[2]) / 3;
    out.gainB = Gain(mean, means[0]);
    out.gainG = Gain(mean, means[1]);
    out.gainR = Gain(mean, means[2]);
    const cv::Mat lab = ToLab(thumb);
    const cv::Scalar labMeans = cv::mean(lab);
    out.a = labMeans[1];
    out.b = labMeans[2];

    const cv::Mat clusterPixels = Shrunk(thumb, kClusterSide);
    const cv::Mat points = ToLab(clusterPixels).reshape(1, static_cast<int>(clusterPixels.total()));
    const int k = std::clamp(colours, 1, std::min(kMaxColours, points.rows));
    cv::Mat labels, centres;
    // k-means seeds from the thread's generator: a fixed seed makes a frame's colours
    // the same on every run; the thread's own state is put back afterwards.
    cv::RNG& rng = cv::theRNG();
    const uint64 saved = rng.state;
    rng.state = 0x2545F4914F6CDD1DULL;
    cv::kmeans(points, k, labels, cv::TermCriteria(cv::TermCriteria::EPS | cv::TermCriteria::COUNT, 10, 0.5), 1,
               cv::KMEANS_PP_CENTERS, centres);
    rng.state = saved;

    // Each colour is its cluster's mean BGR (exact for a flat area, unlike a Lab round trip).
    std::vector<cv::Vec3d> bgrSum(k), labSum(k);
    std::vector<int> count(k, 0);
    const cv::Mat flat = clusterPixels.isContinuous() ? clusterPixels : clusterPixels.clone();
    const cv::Vec3b* px = flat.ptr<cv::Vec3b>();
    for (int i = 0; i < points.rows; ++i) {
        const int label = labels.at<int>(i);
        bgrSum[label] += cv::Vec3d(px[i][0], px[i][1], px[i][2]);
        const float* p = points.ptr<float>(i);
        labSum[label] += cv::Vec3d(p[0], p[1], p[2]);
        ++count[label];
    }
    QVector<Colour> pool;
    for (int c = 0; c < k; ++c) {
        if (count[c] == 0)
            continue;
        Colour colour;
        const cv::Vec3d b = bgrSum[c] / count[c], l = labSum[c] / count[c];
        colour.bgr = cv::Vec3b(cv::saturate_cast<uchar>(b[0]), cv::saturate_cast<uchar>(b[1]), cv::saturate_cast<uchar>(b[2]));
        colour.lab = cv::Vec3f(static_cast<float>(l[0]), static_cast<float>(l[1]), static_cast<float>(l[2]));
        colour.share = static_cast<double>(count[c]) / points.rows;
        pool.append(colour);
    }
    out.colours = MergeColours(pool, k);
    return out;
}

QVector<CColourMeasure::Colour> CColourMeasure::MergeColours(const QVector<Colour>& pool, int count)
{
    struct Sum
    {
        double weight = 0;
        cv::Vec3d bgr, lab;
    };
    QVector<Colour> sorted = pool;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Colour& x, const Colour& y) { return x.share > y.share; });
    QVector<Sum> sums;
    double total = 0;
    for (const Colour& c : sorted) {
        total += c.share;
        const cv::Vec3d lab(c.lab[0], c.lab[1], c.lab[2]);
        Sum* near = nullptr;
        for (Sum& s : sums) {
            if (cv::norm(s.lab / s.weight - lab) < kMergeDistance) {
                near = &s;
                break;
            }
        }
        if (!near) {
            sums.append(Sum());
            near = &sums.last();
        }
        near->weight += c.share;
        near->bgr += cv::Vec3d(c.bgr[0], c.bgr[1], c.bgr[2]) * c.share;
        near->lab += lab * c.share;
    }
    QVector<Colour> out;
    for (const Sum& s : sums) {
        if (s.weight <= 0)
            continue;
        Colour c;
        const cv::Vec3d b = s.bgr / s.weight, l = s.lab / s.weight;
        c.bgr = cv::Vec3b(cv::saturate_cast<uchar>(b[0]), cv::saturate_cast<uchar>(b[1]), cv::saturate_cast<uchar>(b[2]));
        c.lab = cv::Vec3f(static_cast<float>(l[0]), static_cast<float>(l[1]), static_cast<float>(l[2]));
        c.share = s.weight / total;
        out.append(c);
    }
    std::stable_sort(out.begin(), out.end(), [](const Colour& x, const Colour& y) { return x.share > y.share; });
    if (out.size() > count)
        out.resize(count);
    return out;
}

CColourMeasure::Frame CColourMeasure::Mean(const QVector<Sample>& samples, int from, int to, int colours)
{
    Frame mean;
    const int n = to - from;
    if (n <= 0)
        return mean;
    mean.gainR = mean.gainG = mean.gainB = 0;
    QVector<Colour> pool;
    for (int i = from; i < to; ++i) {
        const Frame& f = samples.at(i).frame;
        mean.brightness += f.brightness / n;
        mean.a += f.a / n;
        mean.b += f.b / n;
        mean.gainR += f.gainR / n;
        mean.gainG += f.gainG / n;
        mean.gainB += f.gainB / n;
        mean.shadows += f.shadows / n;
        mean.highlights += f.highlights / n;
        for (Colour c : f.colours) {
            c.share /= n;
            pool.append(c);
        }
    }
    mean.colours = MergeColours(pool, colours);
    return mean;
}

QString CColourMeasure::CastName(double a, double b)
{
    if (std::hypot(a, b) < 3)
        return QStringLiteral("none");
    if (std::abs(a) > std::abs(b))
        return a > 0 ? QStringLiteral("magenta") : QStringLiteral("green");
    return b > 0 ? QStringLiteral("yellow") : QStringLiteral("blue");
}

QByteArray CColourMeasure::TimelineCsv(const QVector<Sample>& samples, int colours)
{
    QByteArray csv("second,samples,brightness,cast_a,cast_b,gain_r,gain_g,gain_b,shadows,highlights,colours\n");
    for (int from = 0; from < samples.size();) {
        const qint64 second = samples.at(from).timeMs / 1000;
        int to = from + 1;
        while (to < samples.size() && samples.at(to).timeMs / 1000 == second)
            ++to;
        const Frame m = Mean(samples, from, to, colours);
        QStringList items;
        for (const Colour& c : m.colours)
            items << c.Hex() + QLatin1Char(':') + Fixed(c.share, 4);
        const QStringList row{QString::number(second), QString::number(to - from), Fixed(m.brightness, 2), Fixed(m.a, 2),
                              Fixed(m.b, 2), Fixed(m.gainR, 3), Fixed(m.gainG, 3), Fixed(m.gainB, 3),
                              Fixed(m.shadows, 4), Fixed(m.highlights, 4), items.join(QLatin1Char(' '))};
        csv += row.join(QLatin1Char(',')).toUtf8() + '\n';
        from = to;
    }
    return csv;
}

QVariantMap CColourMeasure::Summary(const Frame& mean)
{
    QVariantList colours;
    for (const Colour& c : mean.colours)
        colours.append(QVariantMap{{QStringLiteral("sColour"), c.Hex()}, {QStringLiteral("dShare"), Round(c.share, 4)}});
    return QVariantMap{{QStringLiteral("dBrightness"), Round(mean.brightness, 2)},
                       {QStringLiteral("dCastA"), Round(mean.a, 2)},
                       {QStringLiteral("dCastB"), Round(mean.b, 2)},
                       {QStringLiteral("sCast"), CastName(mean.a, mean.b)},
                       {QStringLiteral("dGainR"), Round(mean.gainR, 3)},
                       {QStringLiteral("dGainG"), Round(mean.gainG, 3)},
                       {QStringLiteral("dGainB"), Round(mean.gainB, 3)},
                       {QStringLiteral("dShadows"), Round(mean.shadows, 4)},
                       {QStringLiteral("dHighlights"), Round(mean.highlights, 4)},
                       {QStringLiteral("lstColours"), colours}};
}
