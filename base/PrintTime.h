#pragma once
// Scope timer: logs "<< name" when it starts and "name >> N ms" when it goes out of scope.

#include <QString>

namespace WorkBaseData {

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
