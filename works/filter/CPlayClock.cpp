#include "works/filter/CPlayClock.h"

#include <cmath>

void CPlayClock::SetSpeed(double speed)
{
    if (speed == m_dSpeed)
        return;
    m_dSpeed = speed;
    Reset();
}

qint64 CPlayClock::WaitMs(qint64 mediaMs, qint64 nowMs)
{
    if (m_dSpeed <= 0)
        return 0;
    if (m_bAnchored && mediaMs >= m_nMedia0) {
        const qint64 due = m_nWall0 + std::llround(double(mediaMs - m_nMedia0) / m_dSpeed);
        if (due - nowMs >= -kMaxLateMs)
            return qMax<qint64>(due - nowMs, 0);
    }
    // First frame, a stamp going backwards, or far behind.
    m_bAnchored = true;
    m_nMedia0 = mediaMs;
    m_nWall0 = nowMs;
    return 0;
}
