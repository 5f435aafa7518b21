#pragma once
// The process-wide log writer: every diagnostic line of the library goes through it,
// to a log file when one is open, otherwise to the host as a kind-1 message.

#include <QFile>
#include <QMutex>
#include <QString>

namespace WorkBaseData {

enum LogLevel : unsigned
{
    LOG_ERROR = 100,
    LOG_WARN = 200,
    LOG_INFO = 300,
    LOG_DEBUG = 400
};

class CLogWriter
{
public:
    static constexpr int kBufferSize = 10240;
    static constexpr qint64 kMaxFileSize = 10485760;
    static constexpr qint64 kKeepFileSize = 5242880;

    // An empty path keeps the writer in host mode: lines go to the host callback.
    explicit CLogWriter(const QString& path = QString());
    ~CLogWriter();
    CLogWriter(const CLogWriter&) = delete;
    CLogWriter& operator=(const CLogWriter&) = delete;

    // The library's own writer, created with an empty path.
    static CLogWriter* Instance();

    void Write(unsigned level, const char* func, const char* format, va_list args);

private:
    QMutex m_lock;
    QFile m_file;
    QString m_sPath;
    char* m_pBuffer;
};

void WriteLog(CLogWriter* writer, unsigned level, const char* func, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 4, 5)))
#endif
    ;

} // namespace WorkBaseData

// Shorthand for the library's own writer; func is the "Class::Function" name of the caller.
#define ZRLOG(level, func, ...) \
    ::WorkBaseData::WriteLog(::WorkBaseData::CLogWriter::Instance(), (level), (func), __VA_ARGS__)
