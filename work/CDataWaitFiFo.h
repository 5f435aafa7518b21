#pragma once
// Thread-safe FIFO of item pointers with a blocking, time-limited pop.
// Placeholder until the queue lands.

#include <QByteArray>

template <typename T>
class CDataWaitFiFo
{
public:
    CDataWaitFiFo(const QByteArray& name, int logPeriod) : m_name(name), m_nLogPeriod(logPeriod) {}

private:
    QByteArray m_name;
    int m_nLogPeriod;
};
