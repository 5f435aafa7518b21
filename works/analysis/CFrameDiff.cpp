#include "works/analysis/CFrameDiff.h"

#include <opencv2/imgproc.hpp>

int CFrameDiff::CalcFrameDiff(const cv::Mat& frame, const cv::Rect& rect)
{
    cv::Rect area = rect & cv::Rect(0, 0, frame.cols, frame.rows);
    if (area.empty())
        area = cv::Rect(0, 0, frame.cols, frame.rows);
    cv::Mat small, grey;
    cv::resize(frame(area), small, cv::Size(8, 8), 0, 0, cv::INTER_CUBIC);
    cv::cvtColor(small, grey, cv::COLOR_BGR2GRAY);

    // Dropping the two low bits on purpose: a change of a grey level or two that stays
    // within its multiple of 4 is noise, not motion.
    std::array<qint32, 64> current{};
    qint32 sum = 0;
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            const qint32 value = grey.at<uchar>(r, c) & 252;
            current[r * 8 + c] = value;
            sum += value;
        }
    }
    const qint32 mean = sum / 64;
    for (qint32& value : current)
        value = value >= mean ? 1 : 0;

    int count = 0;
    if (m_bHasPrevious) {
        for (int i = 0; i < 64; ++i)
            count += current[i] != m_aPrevious[i] ? 1 : 0;
    }
    m_aPrevious = current;
    m_bHasPrevious = true;
    return count;
}

quint64 CFrameDiff::Signature() const
{
    quint64 bits = 0;
    for (int i = 0; i < 64; ++i)
        bits |= quint64(m_aPrevious[i] & 1) << i;
    return bits;
}
