#pragma once
// When each decoded frame is due on the wall clock at a given speed. Every break in the
// flow (start, seek, pause, a new speed, falling far behind) re-anchors the clock at the
// next frame, so the picture never races to catch up.

#include <QtGlobal>

class CPlayClock
{
public:
    // A frame more than this late re-anchors the clock instead of being rushed through.
    static constexpr qint64 kMaxLateMs = 250;

    // 1 is the media's own pace, 2 twice as fast; 0 (or less) as fast as frames come.
    void SetSpeed(double speed);
    double Speed() const { return m_dSpeed; }
    // The next frame is shown at once and anchors the clock.
    void Reset() { m_bAnchored = false; }

    // Milliseconds to wait at wall time nowMs before the frame stamped mediaMs is shown;
    // 0 shows it now. Asking again for the same frame after a wait is fine.
    qint64 WaitMs(qint64 mediaMs, qint64 nowMs);

private:
    double m_dSpeed = 1.0;
    bool m_bAnchored = false;
    qint64 m_nMedia0 = 0;
    qint64 m_nWall0 = 0;
};
