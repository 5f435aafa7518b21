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
};

} // namespace WorkBaseData
