#pragma once
// The process-wide log writer: every diagnostic line of the library goes through it,
// to a log file when one is open, otherwise to the host as a kind-1 message.

#include <QFile>
#include <QMutex>
#include <QString>

#include <cstdarg>

namespace WorkBaseData {

/// Log levels; each puts its word into the line (" Error>>> ", " Warn>> ", " Info ", " Debug ").
enum LogLevel : unsigned
{
    LOG_ERROR = 100,
    LOG_WARN = 200,
    LOG_INFO = 300,
    LOG_DEBUG = 400
};

/**
 * @brief Formats log lines "yyyy-MM-dd hh:mm:ss.zzz [thread] <func><level word><message>".
 *
 * One mutex serialises every line, so lines from different threads never mix. In host
 * mode the line reaches the host callback as {"log": line} with the mutex held: a host
 * callback must not log back into the library.
 */
class CLogWriter
{
public:
    static constexpr int kBufferSize = 10240;
    static constexpr qint64 kMaxFileSize = 10485760;
    static constexpr qint64 kKeepFileSize = 5242880;

    /**
     * @brief Opens @p path for appending, first cutting a file over 10 MiB down to its
     *        last 5 MiB. An empty path, or a file that cannot be opened, keeps the writer
     *        in host mode.
     */
    explicit CLogWriter(const QString& path = QString());
    ~CLogWriter();
    CLogWriter(const CLogWriter&) = delete;
    CLogWriter& operator=(const CLogWriter&) = delete;

    /// The library's own writer, in host mode; it lives until the process ends.
    static CLogWriter* Instance();

    /// True when lines go to the log file rather than to the host.
    /**
     * @brief Writes one line; the message is cut at 10239 bytes, and an empty message
     *        (or one that fails to format) writes nothing.
     */
    void Write(unsigned level, const char* func, const char* format, va_list args);

private:
    QMutex m_lock;
    QFile m_file;
    QString m_sPath;
    char* m_pBuffer;
    int m_nDirty;              // bytes of the buffer the last message touched
    qint64 m_nStampSecond;     // second of the cached local-time text
    char m_szStamp[32];        // "yyyy-MM-dd hh:mm:ss" of m_nStampSecond
};

/// printf-style entry point every caller uses; a null writer or format writes nothing.
void WriteLog(CLogWriter* writer, unsigned level, const char* func, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 4, 5)))
#endif
    ;

} // namespace WorkBaseData

/// Logs through the library's own writer; func is the "Class::Function" name of the caller.
#define ZRLOG(level, func, ...) \
    ::WorkBaseData::WriteLog(::WorkBaseData::CLogWriter::Instance(), (level), (func), __VA_ARGS__)
