#include "base/CLogWriter.h"

#include "core/CData.h"

#include <QByteArray>
#include <QDateTime>
#include <QDebug>
#include <QVariantMap>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#if defined(Q_OS_WIN)
#include <windows.h>
#else
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace WorkBaseData {

namespace {

qint64 CurrentThreadNumber()
{
#if defined(Q_OS_WIN)
    return static_cast<qint64>(GetCurrentThreadId());
#elif defined(SYS_gettid)
    return static_cast<qint64>(syscall(SYS_gettid));
#else
    return static_cast<qint64>(reinterpret_cast<quintptr>(QThread::currentThreadId()));
#endif
}

const char* LevelWord(unsigned level)
{
    switch (level) {
    case LOG_ERROR: return " Error>>> ";
    case LOG_WARN: return " Warn>> ";
    case LOG_INFO: return " Info ";
    case LOG_DEBUG: return " Debug ";
    default: return "";
    }
}

} // namespace

CLogWriter::CLogWriter(const QString& path)
    : m_sPath(path)
    , m_pBuffer(new char[kBufferSize])
{
    if (!m_sPath.isEmpty()) {
        m_file.setFileName(m_sPath);
        if (m_file.size() > kMaxFileSize && m_file.open(QIODevice::ReadWrite)) {
            // Keep only the newest half so the file cannot grow without bound.
            const QByteArray all = m_file.readAll();
            m_file.resize(0);
            m_file.write(all.right(kKeepFileSize));
            m_file.flush();
            m_file.close();
        }
        if (!m_file.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Text))
            m_file.setFileName(QString());
    }
}

CLogWriter::~CLogWriter()
{
    delete[] m_pBuffer;
}

CLogWriter* CLogWriter::Instance()
{
    static CLogWriter writer;
    return &writer;
}

void CLogWriter::Write(unsigned level, const char* func, const char* format, va_list args)
{
    QMutexLocker locker(&m_lock);
    std::memset(m_pBuffer, 0, kBufferSize);
    const int n = std::vsnprintf(m_pBuffer, kBufferSize, format, args);
    if (n <= 0)
        return;

    QString prefix = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
    prefix += QStringLiteral(" [");
    prefix += QString::number(CurrentThreadNumber());
    prefix += QStringLiteral("] ");
    prefix += QString::fromUtf8(func ? func : "");
    prefix += QLatin1String(LevelWord(level));
    const QString message = QString::fromUtf8(m_pBuffer);

    if (m_file.isOpen()) {
        m_file.write(prefix.toUtf8());
        m_file.write(m_pBuffer);
        m_file.write("\n");
        m_file.flush();
        qDebug().noquote() << prefix + message;
        return;
    }
    // The host callback runs with the lock held: it must not log back into the library.
    QVariantMap line;
    line.insert(QStringLiteral("log"), prefix + message);
    if (CData* hub = CData::Peek())
        hub->Notify(WorkLibRs_Log, line);
}

void WriteLog(CLogWriter* writer, unsigned level, const char* func, const char* format, ...)
{
    if (!writer || !format)
        return;
    va_list args;
    va_start(args, format);
    writer->Write(level, func, format, args);
    va_end(args);
}

} // namespace WorkBaseData
