#include "works/filter/CPlayTimeline.h"

#include <algorithm>
#include <cmath>

CPlayTimeline::CPlayTimeline(double fps, qint64 frames)
    : m_dFps(std::isfinite(fps) && fps > 0 ? fps : 0)
    , m_nFrames(std::max<qint64>(frames, 0))
{
}

qint64 CPlayTimeline::DurationMs() const
{
    return IsKnown() ? std::llround(double(m_nFrames) * 1000.0 / m_dFps) : 0;
}

double CPlayTimeline::FrameMs() const
{
    return m_dFps > 0 ? 1000.0 / m_dFps : 0;
}

qint64 CPlayTimeline::FrameAt(qint64 ms) const
{
    if (m_dFps <= 0)
        return 0;
    // A hair of slack so that TimeOf(n) maps back to n despite the rounding of TimeOf.
    const auto frame = std::max<qint64>(static_cast<qint64>(std::floor(double(ms) * m_dFps / 1000.0 + 1e-3)), 0);
    return m_nFrames > 0 ? std::min(frame, m_nFrames - 1) : frame;
}

qint64 CPlayTimeline::TimeOf(qint64 frame) const
{
    return m_dFps > 0 ? std::llround(double(frame) * 1000.0 / m_dFps) : 0;
}

qint64 CPlayTimeline::Stamp(double decoderMs, qint64 frame, qint64 prevMs) const
{
    // A stamp of 0 is real only on the first frame: the lost ones read as 0.
    if (std::isfinite(decoderMs) && decoderMs > double(prevMs) && (decoderMs > 0 || frame == 0))
        return std::llround(decoderMs);
    return prevMs >= 0 ? prevMs + std::llround(FrameMs()) : TimeOf(frame);
}
