#include "base/PrintTime.h"

#include "base/CLogWriter.h"

#include <QDateTime>

#include <utility>

namespace WorkBaseData {

PrintTime::PrintTime(QString name)
    : m_sName(std::move(name))
    , m_nStart(static_cast<quint32>(QDateTime::currentMSecsSinceEpoch()))
{
    ZRLOG(LOG_INFO, "WorkBaseData::PrintTime::PrintTime", "<< %s", m_sName.toUtf8().constData());
}

PrintTime::~PrintTime()
{
    // 32-bit arithmetic on purpose: the difference stays right across a wrap of the stored start.
    const quint32 elapsed = static_cast<quint32>(QDateTime::currentMSecsSinceEpoch()) - m_nStart;
    ZRLOG(LOG_INFO, "WorkBaseData::PrintTime::~PrintTime", "%s >> %lu ms", m_sName.toUtf8().constData(),
          static_cast<unsigned long>(elapsed));
}

} // namespace WorkBaseData
