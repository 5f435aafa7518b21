#pragma once
// Thread-safe FIFO of item pointers with a blocking, time-limited pop; also the
// process-wide "py ins" token pool that lets one Python converter run at a time.

#include "base/CLogWriter.h"

#include <QByteArray>
#include <QReadWriteLock>
#include <QWaitCondition>

#include <atomic>
#include <deque>

template <typename T>
class CDataWaitFiFo
{
public:
    // logPeriod: a push or empty-pop line is written only on every logPeriod-th event.
    CDataWaitFiFo(const QByteArray& name, int logPeriod)
        : m_nEmptyPops(0)
        , m_name(name)
        , m_nLogPeriod(logPeriod > 0 ? logPeriod : 1)
    {
    }
    CDataWaitFiFo(const CDataWaitFiFo&) = delete;
    CDataWaitFiFo& operator=(const CDataWaitFiFo&) = delete;

    // The queue does not own its items: whoever pops one owns it until it pushes it back.
    void PushData(T* item)
    {
        size_t n = 0;
        {
            QWriteLocker locker(&m_lock);
            m_items.push_back(item);
            n = m_items.size();
        }
        if (n > 10 && n % static_cast<size_t>(m_nLogPeriod) == 0) {
            // Only int is instantiated, so the function name is fixed.
            ZRLOG(WorkBaseData::LOG_INFO, "CDataWaitFiFo<int>::PushData", "%s push more num:%d",
                  m_name.constData(), static_cast<int>(n));
        }
        m_wake.wakeAll();
    }

    // The front item, waiting at most msecs for one; null when none came.
    T* PopData(unsigned long msecs)
    {
        // The emptiness check and the wait share one lock, so a push cannot slip in
        // between them and be missed. Removal needs the write lock too: the token pool
        // has several consumers when several conversions run at once.
        QWriteLocker locker(&m_lock);
        if (m_items.empty()) {
            const bool woken = m_wake.wait(&m_lock, msecs);
            if (!woken && m_items.empty()) {
                const int count = ++m_nEmptyPops;
                if (count >= 5 && count % m_nLogPeriod == 0) {
                    ZRLOG(WorkBaseData::LOG_INFO, "CDataWaitFiFo<int>::PopData", "%s pop null times:%d",
                          m_name.constData(), count);
                }
                return nullptr;
            }
        }
        // A push woke us (or came just in time): that ends the run of empty pops, even
        // when another consumer took the item first.
        m_nEmptyPops = 0;
        if (m_items.empty())
            return nullptr;
        T* item = m_items.front();
        m_items.pop_front();
        return item;
    }

    int Size() const
    {
        QReadLocker locker(&m_lock);
        return static_cast<int>(m_items.size());
    }
    // Consecutive pops that timed out since the last successful one.
    int EmptyPopCount() const { return m_nEmptyPops; }
    const QByteArray& Name() const { return m_name; }

private:
    std::deque<T*> m_items;
    mutable QReadWriteLock m_lock;
    QWaitCondition m_wake;
    std::atomic<int> m_nEmptyPops;
    QByteArray m_name;
    int m_nLogPeriod;
};

// The process-wide "py ins" pool holding the one token; its period keeps it silent.
inline CDataWaitFiFo<int>& PyInsPool()
{
    // Never deleted, so works still converting at process exit find it alive.
    static CDataWaitFiFo<int>* pool = [] {
        auto* fifo = new CDataWaitFiFo<int>(QByteArrayLiteral("py ins"), 100000000);
        fifo->PushData(new int(0));
        return fifo;
    }();
    return *pool;
}

// Holds the "py ins" token for one converter run and gives it back on every way out.
class CPyInsToken
{
public:
    // Waits in 100 ms attempts, without limit, until the token is free.
    CPyInsToken()
    {
        while (!(m_pToken = PyInsPool().PopData(100))) {
        }
    }
    ~CPyInsToken() { PyInsPool().PushData(m_pToken); }
    CPyInsToken(const CPyInsToken&) = delete;
    CPyInsToken& operator=(const CPyInsToken&) = delete;

private:
    int* m_pToken = nullptr;
};
