#pragma once
// Holds the lock taken around libcurl calls. It starts with a lock of its own; a host
// that shares libcurl with the library hands its own mutex over at start-up.

#include <QMutex>
#include <atomic>

namespace WorkBaseData {

class CCurlLocker
{
public:
    static QMutex* Get()
    {
        QMutex* lock = current().load();
        return lock ? lock : &own();
    }
    // A null lock brings back the holder's own lock.
    static void Install(QMutex* lock) { current().store(lock); }

    // Holds the current lock for one libcurl call (or a short run of them). The lock is
    // read once, so a host installing its own meanwhile cannot make us unlock a mutex
    // we never locked.
    class Scope
    {
    public:
        Scope()
            : m_pLock(Get())
        {
            m_pLock->lock();
            taken().fetch_add(1, std::memory_order_relaxed);
        }
        ~Scope() { m_pLock->unlock(); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        QMutex* m_pLock;
    };

    // How many times a Scope has taken the lock since start-up: QMutex cannot be watched
    // from outside, so a host checking that its lock is used compares this count.
    static quint64 Acquisitions() { return taken().load(); }

private:
    static std::atomic<QMutex*>& current()
    {
        static std::atomic<QMutex*> lock{nullptr};
        return lock;
    }
    static QMutex& own()
    {
        static QMutex lock;
        return lock;
    }
    static std::atomic<quint64>& taken()
    {
        static std::atomic<quint64> count{0};
        return count;
    }
};

} // namespace WorkBaseData
