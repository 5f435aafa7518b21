#include "base/CLogWriter.h"

#include "base/CHostLink.h"

#include <QByteArray>
#include <QDateTime>
#include <QDebug>
#include <QThread>
#include <QVariantMap>

#include <cstdio>
#include <cstring>
#include <limits>

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
    // Asked once per thread: the number never changes and the system call is not free.
    static thread_local const qint64 number = [] {
#if defined(Q_OS_WIN)
        return static_cast<qint64>(GetCurrentThreadId());
#elif defined(SYS_gettid)
        return static_cast<qint64>(syscall(SYS_gettid));
#else
        return static_cast<qint64>(reinterpret_cast<quintptr>(QThread::currentThreadId()));
#endif
    }();
    return number;
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
    , m_nDirty(kBufferSize)
    , m_nStampSecond(std::numeric_limits<qint64>::min())
    , m_szStamp()
{
    if (m_sPath.isEmpty())
        return;
    m_file.setFileName(m_sPath);
    if (m_file.size() > kMaxFileSize && m_file.open(QIODevice::ReadWrite)) {
        // Keep only the newest half so the file cannot grow without bound.
        m_file.seek(m_file.size() - kKeepFileSize);
        const QByteArray tail = m_file.read(kKeepFileSize);
        m_file.resize(0);
        m_file.write(tail);
        m_file.flush();
        m_file.close();
    }
    if (!m_file.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Text))
        m_file.setFileName(QString());
}

CLogWriter::~CLogWriter()
{
    delete[] m_pBuffer;
}

CLogWriter* CLogWriter::Instance()
{
    // Never deleted, like the hub: work threads and other statics may still log while
    // the process tears down.
    static CLogWriter* writer = new CLogWriter;
    return writer;
}

void CLogWriter::Write(unsigned level, const char* func, const char* format, va_list args)
{
    QMutexLocker locker(&m_lock);
    // The buffer is all zero before each use; only what the last message touched needs
    // clearing, which spares a 10 KiB memset per line.
    std::memset(m_pBuffer, 0, static_cast<size_t>(m_nDirty));
    const int n = std::vsnprintf(m_pBuffer, kBufferSize, format, args);
    m_nDirty = n < 0 ? kBufferSize : qMin(n + 1, kBufferSize);
    if (n <= 0)
        return;
    const int length = qMin(n, kBufferSize - 1);

    // Local time is worked out once per second: converting every line costs the C
    // library a stat of the zone file, which dominated the time of a line.
    const qint64 ms = QDateTime::currentMSecsSinceEpoch();
    const qint64 second = ms >= 0 ? ms / 1000 : (ms - 999) / 1000;
    if (second != m_nStampSecond) {
        const QDateTime local = QDateTime::fromSecsSinceEpoch(second);
        const QDate date = local.date();
        const QTime time = local.time();
        std::snprintf(m_szStamp, sizeof m_szStamp, "%04d-%02d-%02d %02d:%02d:%02d", date.year(), date.month(),
                      date.day(), time.hour(), time.minute(), time.second());
        m_nStampSecond = second;
    }
    char prefix[96];
    const int prefixLength = std::snprintf(prefix, sizeof prefix, "%s.%03d [%lld] ", m_szStamp,
                                           static_cast<int>(ms - second * 1000),
                                           static_cast<long long>(CurrentThreadNumber()));
    QByteArray line;
    const char* word = LevelWord(level);
    const size_t funcLength = func ? std::strlen(func) : 0;
    line.reserve(prefixLength + static_cast<int>(funcLength + std::strlen(word)) + length + 1);
    line.append(prefix, prefixLength);
    line.append(func, static_cast<int>(funcLength));
    line.append(word);
    line.append(m_pBuffer, length);

    if (m_file.isOpen()) {
        line.append('\n');
        m_file.write(line);
        m_file.flush();
        line.chop(1);
        qDebug().noquote() << QString::fromUtf8(line);
        return;
    }
    // The host callback runs with the lock held: it must not log back into the library.
    QVariantMap map;
    map.insert(QStringLiteral("log"), QString::fromUtf8(line));
    CHostLink::Send(CHostLink::Log, map);
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
