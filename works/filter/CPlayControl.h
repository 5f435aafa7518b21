#pragma once
// The hand-over between a host's thread and the player's: the host sets speed, filter,
// pause and seek at any moment; the player takes the whole state at its next check and
// is woken from any wait when something changes.

#include "works/filter/CFilter.h"

#include <QMutex>
#include <QWaitCondition>
#include <memory>

// What the player plays by. The filter is shared, so one replaced while a frame is being
// filtered lives until that frame is done.
struct PlayState
{
    double dSpeed = 1.0;
    std::shared_ptr<CFilter> pFilter;
    bool bPaused = false;
    qint64 nSeekMs = -1;   // a seek not yet taken by the player; -1 for none
    quint64 nSeekGen = 0;  // counts the seeks asked
};

class CPlayControl
{
public:
    // Host side; each wakes the player.
    void SetSpeed(double speed);
    void SetFilter(std::shared_ptr<CFilter> filter);
    void SetPaused(bool paused);
    // Returns the seek's number, which the frame that shows it carries.
    quint64 Seek(qint64 ms);
    // Only wakes the player (a stop asked).
    void Wake();

    // Player side. A new run: the kept speed and filter, pause as given, no seek pending.
    PlayState Begin(bool paused);
    // Copies the state into *state when it changed since the last Take (the pending
    // seek goes with it and is cleared here); false when nothing changed.
    bool Take(PlayState* state);
    // Returns when something changes or after ms milliseconds.
    void Wait(qint64 ms);

    // For replies to the host.
    bool IsPaused() const;
    quint64 SeekGen() const;

private:
    void Changed();

    mutable QMutex m_lock;
    QWaitCondition m_cond;
    PlayState m_state;
    bool m_bChanged = false;
};
