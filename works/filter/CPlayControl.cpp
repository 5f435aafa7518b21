#include "works/filter/CPlayControl.h"

#include <QMutexLocker>

void CPlayControl::SetSpeed(double speed)
{
    QMutexLocker locker(&m_lock);
    m_state.dSpeed = speed;
    Changed();
}

void CPlayControl::SetFilter(std::shared_ptr<CFilter> filter)
{
    QMutexLocker locker(&m_lock);
    m_state.pFilter = std::move(filter);
    Changed();
}

void CPlayControl::SetPaused(bool paused)
{
    QMutexLocker locker(&m_lock);
    m_state.bPaused = paused;
    Changed();
}

quint64 CPlayControl::Seek(qint64 ms)
{
    QMutexLocker locker(&m_lock);
    m_state.nSeekMs = qMax<qint64>(ms, 0);
    ++m_state.nSeekGen;
    Changed();
    return m_state.nSeekGen;
}

void CPlayControl::Wake()
{
    QMutexLocker locker(&m_lock);
    Changed();
}

PlayState CPlayControl::Begin(bool paused)
{
    QMutexLocker locker(&m_lock);
    m_state.bPaused = paused;
    m_state.nSeekMs = -1;
    m_bChanged = false;
    return m_state;
}

bool CPlayControl::Take(PlayState* state)
{
    QMutexLocker locker(&m_lock);
    if (!m_bChanged)
        return false;
    *state = m_state;
    m_state.nSeekMs = -1;
    m_bChanged = false;
    return true;
}

void CPlayControl::Wait(qint64 ms)
{
    QMutexLocker locker(&m_lock);
    if (!m_bChanged && ms > 0)
        m_cond.wait(&m_lock, static_cast<unsigned long>(ms));
}

bool CPlayControl::IsPaused() const
{
    QMutexLocker locker(&m_lock);
    return m_state.bPaused;
}

quint64 CPlayControl::SeekGen() const
{
    QMutexLocker locker(&m_lock);
    return m_state.nSeekGen;
}

void CPlayControl::Changed()
{
    m_bChanged = true;
    m_cond.wakeAll();
}
