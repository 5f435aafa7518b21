#pragma once
// Scope timer: logs "<< name" when it starts and "name >> N ms" when it goes out of scope.

#include <QString>

namespace WorkBaseData {

/**
 * @brief Logs "<< name" at Info when constructed and "name >> N ms" when destroyed.
 *
 * The start is kept as 32-bit milliseconds, so N is right for scopes under 49 days.
 */
class PrintTime
{
public:
    explicit PrintTime(QString name);
    ~PrintTime();
    PrintTime(const PrintTime&) = delete;
    PrintTime& operator=(const PrintTime&) = delete;

private:
    QString m_sName;
    quint32 m_nStart;
};

} // namespace WorkBaseData
