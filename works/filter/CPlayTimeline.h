#pragma once
// The arithmetic of a file's time line at a constant frame rate: the frame shown at a
// time, the time of a frame, seek targets and the stamps of decoded frames.

#include <QtGlobal>

class CPlayTimeline
{
public:
    // A capture device has neither rate nor count; a few streams lack the count.
    CPlayTimeline(double fps = 0, qint64 frames = 0);

    bool IsKnown() const { return m_dFps > 0 && m_nFrames > 0; }
    double Fps() const { return m_dFps; }
    qint64 Frames() const { return m_nFrames; }
    qint64 DurationMs() const;
    // One frame's length; 0 when the rate is unknown.
    double FrameMs() const;

    // The frame on screen at ms (its interval holds ms), clamped to the media (to its
    // start only, when the count is unknown).
    qint64 FrameAt(qint64 ms) const;
    qint64 TimeOf(qint64 frame) const;

    // The time of decoded frame number `frame`: the decoder's stamp while it moves
    // forward, else one frame after the previous stamp (prevMs; -1 after a seek), else
    // the frame's own time. Decoders lose the stamps of the last frames of some files.
    qint64 Stamp(double decoderMs, qint64 frame, qint64 prevMs) const;

private:
    double m_dFps;
    qint64 m_nFrames;
};
