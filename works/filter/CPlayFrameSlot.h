#pragma once
// The player's latest frame and the media's facts, kept for the host's questions. The
// player hands over freshly decoded pictures only, so a reader's copy of the header
// shares a picture that is never written again.

#include <QMutex>
#include <QVariantMap>

#include <opencv2/core.hpp>

struct PlayFrame
{
    cv::Mat picture;          // as shown (filtered), BGR
    cv::Mat source;           // as decoded, for filtering again while paused
    qint64 nTime = -1;        // milliseconds
    qint64 nFrame = -1;
    qint64 nShownNs = 0;      // steady clock when it was handed over (set by Publish)
    quint64 nSeekGen = 0;     // the last seek this frame answers
};

class CPlayFrameSlot
{
public:
    // A new run: no frame, no facts.
    void Clear();
    // Takes the frame as the one on screen now.
    void Publish(const PlayFrame& frame);
    // false before the first frame.
    bool Latest(PlayFrame* frame) const;
    void SetFacts(const QVariantMap& facts);
    QVariantMap Facts() const;

    // Now on the steady clock the stamps use.
    static qint64 NowNs();

private:
    mutable QMutex m_lock;
    PlayFrame m_frame;
    QVariantMap m_mapFacts;
};
