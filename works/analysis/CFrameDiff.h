#pragma once
// The frame change measure of the motion works: how many of 64 perceptual signature
// bits differ from the previous measured frame.

#include <QtGlobal>

#include <array>

#include <opencv2/core.hpp>

/**
 * Keeps the signature of the last measured frame. One object per analysed video.
 */
class CFrameDiff
{
public:
    /**
     * Measures the part of the BGR picture `frame` inside `rect` against the previous
     * call's picture.
     * @return the number (0 to 64) of signature positions that differ from the previous
     *         frame's signature; 0 on the first call. `rect` is clipped to the frame; a
     *         rect that misses the frame entirely measures the whole frame.
     */
    int CalcFrameDiff(const cv::Mat& frame, const cv::Rect& rect);

    /** Whether a frame has been measured. */
    /** The last signature as 64 bits, bit i = position i (rows of the 8 × 8 grid in order). */
    quint64 Signature() const;
    /** Forgets the previous frame: the next call returns 0 again. */
    void Reset() { m_bHasPrevious = false; }

private:
    std::array<qint32, 64> m_aPrevious{};
    bool m_bHasPrevious = false;
};
