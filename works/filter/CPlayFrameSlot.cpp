#include "works/filter/CPlayFrameSlot.h"

#include <QMutexLocker>

#include <chrono>

void CPlayFrameSlot::Clear()
{
    QMutexLocker locker(&m_lock);
    m_frame = PlayFrame();
    m_mapFacts.clear();
}

void CPlayFrameSlot::Publish(const PlayFrame& frame)
{
    QMutexLocker locker(&m_lock);
    m_frame = frame;
    m_frame.nShownNs = NowNs();
}

bool CPlayFrameSlot::Latest(PlayFrame* frame) const
{
    QMutexLocker locker(&m_lock);
    if (m_frame.nFrame < 0)
        return false;
    *frame = m_frame;
    return true;
}

void CPlayFrameSlot::SetFacts(const QVariantMap& facts)
{
    QMutexLocker locker(&m_lock);
    m_mapFacts = facts;
}

QVariantMap CPlayFrameSlot::Facts() const
{
    QMutexLocker locker(&m_lock);
    return m_mapFacts;
}

qint64 CPlayFrameSlot::NowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
