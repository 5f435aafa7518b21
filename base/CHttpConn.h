#pragma once
// One HTTP(S) download over libcurl's easy interface, with every libcurl call made under
// the lock holder's lock.

#include <QString>
#include <functional>

namespace WorkBaseData {

/** Limits of one download. A value of 0 lifts that limit. */
struct HttpLimits
{
    int nConnectSec = 20;               ///< connecting, TLS handshake included
    int nStallSec = 30;                 ///< no byte received for this long ends the transfer
    int nTotalSec = 0;                  ///< the whole transfer
    int nMaxRedirects = 5;              ///< redirects followed before giving up
    qint64 nMaxBytes = 16LL << 30;      ///< largest file accepted (16 GiB)
};

/**
 * @brief Downloads one address into a file, resuming and verifying.
 *
 * The body goes to "<file>.part" and is renamed to @p file only when the transfer ended
 * cleanly and holds exactly the announced length, so @p file never holds a partial
 * body. A ".part" left by an interrupted transfer is resumed with a range request; when
 * the server has no ranges or refuses that one, the download starts over from byte 0.
 * Only http and https are allowed, for redirects too; TLS peers and host names are
 * verified.
 *
 * The transfer runs on the calling thread. libcurl is driven through a private multi
 * handle and poll(), so the lock holder's lock is held only for short, non-blocking
 * libcurl calls: downloads on several threads go on at once although each libcurl
 * call is serialised with every other user of the lock (the host's own, when given).
 *
 * Failure words of Download():
 * | word | meaning |
 * |---|---|
 * | download_bad_url | not an http:// or https:// address |
 * | download_not_found | the server answered 404 or 410 |
 * | download_server_error | the server answered 5xx |
 * | download_http_error | any other answer of 400 or above (the code is in HttpCode()) |
 * | download_no_host | the host name cannot be resolved |
 * | download_refused | the connection was refused |
 * | download_timeout | connecting, a stall or the whole transfer exceeded its limit |
 * | download_truncated | the connection ended before the announced length (the ".part" stays for a resume) |
 * | download_too_many_redirects | more redirects than the limit |
 * | download_too_large | the body exceeds the size limit |
 * | download_tls_failed | the TLS handshake or the peer's certificate failed |
 * | download_write_failed | the folder or the file cannot be written |
 * | download_stopped | the progress function asked to stop (the ".part" stays) |
 * | download_failed | any other transfer failure (Detail() has libcurl's text) |
 */
class CHttpConn
{
public:
    /** Told the bytes on disk and the full length (-1 unknown), at most every 100 ms and
     *  once at the end; returning false stops the download. */
    using Progress = std::function<bool(qint64 done, qint64 total)>;

    explicit CHttpConn(const HttpLimits& limits = HttpLimits());

    /** Downloads @p url into @p file (its folder is made). @return "" or a failure word. */
    QString Download(const QString& url, const QString& file, const Progress& progress = Progress());

    /** The last HTTP status received (0 when none). */
    int HttpCode() const { return m_nHttpCode; }
    /** libcurl's own words for the last failure, for log lines. */
    const QString& Detail() const { return m_sDetail; }

    /** Whether @p text is an http:// or https:// address (case-insensitive scheme). */
    static bool IsHttpUrl(const QString& text);
    /** A safe local file name for @p url: its last path segment with anything but
     *  letters, digits, '.', '-' and '_' made '_', never starting with '.' or '-';
     *  "download" when the address has no name. */
    static QString FileNameOf(const QString& url);
    /** The temporary name the body is written to. */
    static QString PartName(const QString& file) { return file + QStringLiteral(".part"); }

private:
    QString Attempt(const QString& url, const QString& part, qint64 offset, const Progress& progress);

    HttpLimits m_limits;
    int m_nHttpCode = 0;
    QString m_sDetail;
};

} // namespace WorkBaseData
