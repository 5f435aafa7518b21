#include "base/CHttpConn.h"

#include "base/CCurlLocker.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QUrl>

#include <curl/curl.h>

#include <algorithm>
#include <mutex>
#include <vector>

#if defined(Q_OS_WIN)
#include <winsock2.h>
#define ZRW_POLL WSAPoll
#else
#include <poll.h>
#define ZRW_POLL ::poll
#endif

namespace WorkBaseData {

namespace {

// Told apart from every failure word: the ".part" does not fit the server's answer and
// the transfer starts again from byte 0.
const char kRestart[] = "restart";

// State of one transfer, shared with libcurl's callbacks. The callbacks run inside
// libcurl calls made under the lock, so they call libcurl without taking it again.
struct Transfer
{
    CURL* pEasy = nullptr;
    QFile part;
    qint64 nOffset = 0;      // bytes of the ".part" asked to be kept
    qint64 nWritten = 0;     // bytes written by this transfer
    qint64 nTotal = -1;      // the announced full length
    qint64 nMaxBytes = 0;
    bool bOpened = false;
    qint64 nRangeStart = -1; // from the Content-Range of the current answer
    qint64 nRangeTotal = -1;
    QString sAbort;          // why a callback ended the transfer
    std::vector<std::pair<curl_socket_t, int>> vSockets;

    // Opens the ".part" at the first byte of the final answer, appending only when the
    // server sent the very range asked for.
    bool Open()
    {
        bOpened = true;
        long code = 0;
        curl_easy_getinfo(pEasy, CURLINFO_RESPONSE_CODE, &code);
        curl_off_t length = -1;
        curl_easy_getinfo(pEasy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
        QIODevice::OpenMode mode = QIODevice::WriteOnly | QIODevice::Unbuffered;
        if (code == 206) {
            if (nRangeStart != nOffset) {
                sAbort = QLatin1String(kRestart);
                return false;
            }
            nTotal = nRangeTotal >= 0 ? nRangeTotal : (length >= 0 ? nOffset + length : -1);
            mode |= QIODevice::Append;
        } else {
            nOffset = 0;
            nTotal = length;
            mode |= QIODevice::Truncate;
        }
        if (nMaxBytes > 0 && nTotal > nMaxBytes) {
            sAbort = QStringLiteral("download_too_large");
            return false;
        }
        if (!part.open(mode)) {
            sAbort = QStringLiteral("download_write_failed");
            return false;
        }
        return true;
    }

    static size_t OnWrite(char* data, size_t size, size_t count, void* user)
    {
        auto* t = static_cast<Transfer*>(user);
        const qint64 n = static_cast<qint64>(size * count);
        if (!t->bOpened && !t->Open())
            return 0;
        if (t->nMaxBytes > 0 && t->nOffset + t->nWritten + n > t->nMaxBytes) {
            t->sAbort = QStringLiteral("download_too_large");
            return 0;
        }
        if (t->part.write(data, n) != n) {
            t->sAbort = QStringLiteral("download_write_failed");
            return 0;
        }
        t->nWritten += n;
        return static_cast<size_t>(n);
    }

    // Keeps the Content-Range of the latest answer; each status line starts a new one
    // (redirects and interim answers come before the final one).
    static size_t OnHeader(char* data, size_t size, size_t count, void* user)
    {
        auto* t = static_cast<Transfer*>(user);
        const size_t n = size * count;
        const QByteArray line = QByteArray::fromRawData(data, static_cast<int>(n)).trimmed();
        if (line.startsWith("HTTP/")) {
            t->nRangeStart = t->nRangeTotal = -1;
        } else if (line.toLower().startsWith("content-range:")) {
            // "bytes S-E/T", T possibly "*"
            const QByteArray value = line.mid(14).trimmed();
            const int dash = value.indexOf('-'), slash = value.indexOf('/');
            if (value.startsWith("bytes ") && dash > 6 && slash > dash) {
                bool okStart = false, okTotal = false;
                const qint64 start = value.mid(6, dash - 6).trimmed().toLongLong(&okStart);
                const qint64 total = value.mid(slash + 1).toLongLong(&okTotal);
                t->nRangeStart = okStart ? start : -1;
                t->nRangeTotal = okTotal ? total : -1;
            }
        }
        return n;
    }

    static int OnSocket(CURL*, curl_socket_t s, int what, void* user, void*)
    {
        auto& sockets = static_cast<Transfer*>(user)->vSockets;
        auto it = std::find_if(sockets.begin(), sockets.end(), [s](const auto& p) { return p.first == s; });
        if (what == CURL_POLL_REMOVE) {
            if (it != sockets.end())
                sockets.erase(it);
        } else if (it != sockets.end()) {
            it->second = what;
        } else {
            sockets.emplace_back(s, what);
        }
        return 0;
    }
};

void GlobalInit()
{
    static std::once_flag once;
    std::call_once(once, [] {
        CCurlLocker::Scope lock;
        curl_global_init(CURL_GLOBAL_DEFAULT);
    });
}

QString WordOf(CURLcode code, int httpCode)
{
    switch (code) {
    case CURLE_HTTP_RETURNED_ERROR:
        if (httpCode == 404 || httpCode == 410)
            return QStringLiteral("download_not_found");
        return httpCode >= 500 ? QStringLiteral("download_server_error") : QStringLiteral("download_http_error");
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return QStringLiteral("download_no_host");
    case CURLE_COULDNT_CONNECT:
        return QStringLiteral("download_refused");
    case CURLE_OPERATION_TIMEDOUT:
        return QStringLiteral("download_timeout");
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
        return QStringLiteral("download_truncated");
    case CURLE_TOO_MANY_REDIRECTS:
        return QStringLiteral("download_too_many_redirects");
    case CURLE_FILESIZE_EXCEEDED:
        return QStringLiteral("download_too_large");
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CACERT_BADFILE:
        return QStringLiteral("download_tls_failed");
    case CURLE_URL_MALFORMAT:
    case CURLE_UNSUPPORTED_PROTOCOL:
        return QStringLiteral("download_bad_url");
    default:
        return QStringLiteral("download_failed");
    }
}

// Failures after which the ".part" is worth keeping for a resume.
bool KeepsPart(const QString& word)
{
    return word == QLatin1String("download_truncated") || word == QLatin1String("download_timeout")
        || word == QLatin1String("download_stopped") || word == QLatin1String("download_refused");
}

} // namespace

CHttpConn::CHttpConn(const HttpLimits& limits)
    : m_limits(limits)
{
}

bool CHttpConn::IsHttpUrl(const QString& text)
{
    return text.startsWith(QLatin1String("http://"), Qt::CaseInsensitive)
        || text.startsWith(QLatin1String("https://"), Qt::CaseInsensitive);
}

QString CHttpConn::FileNameOf(const QString& url)
{
    const QString path = QUrl(url).path(QUrl::FullyDecoded);
    QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    for (QChar& c : name) {
        if (!(c.isLetterOrNumber() || c == QLatin1Char('.') || c == QLatin1Char('-') || c == QLatin1Char('_')))
            c = QLatin1Char('_');
    }
    while (name.startsWith(QLatin1Char('.')) || name.startsWith(QLatin1Char('-')))
        name.remove(0, 1);
    return name.isEmpty() ? QStringLiteral("download") : name.left(120);
}

QString CHttpConn::Download(const QString& url, const QString& file, const Progress& progress)
{
    m_nHttpCode = 0;
    m_sDetail.clear();
    if (!IsHttpUrl(url))
        return QStringLiteral("download_bad_url");
    if (!QDir().mkpath(QFileInfo(file).absolutePath()))
        return QStringLiteral("download_write_failed");
    GlobalInit();

    const QString part = PartName(file);
    QString word;
    // A second attempt only when the kept ".part" did not fit the server's answer.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const QFileInfo kept(part);
        word = Attempt(url, part, kept.isFile() ? kept.size() : 0, progress);
        if (word != QLatin1String(kRestart))
            break;
        QFile::remove(part);
    }
    if (word == QLatin1String(kRestart))
        word = QStringLiteral("download_failed");
    if (word.isEmpty()) {
        QFile::remove(file);
        if (!QFile::rename(part, file))
            word = QStringLiteral("download_write_failed");
    }
    if (!word.isEmpty() && !KeepsPart(word))
        QFile::remove(part);
    return word;
}

QString CHttpConn::Attempt(const QString& url, const QString& part, qint64 offset, const Progress& progress)
{
    Transfer t;
    t.part.setFileName(part);
    t.nOffset = offset;
    t.nMaxBytes = m_limits.nMaxBytes;
    char error[CURL_ERROR_SIZE] = {0};
    const QByteArray address = url.toUtf8();

    CURLM* multi = nullptr;
    {
        CCurlLocker::Scope lock;
        t.pEasy = curl_easy_init();
        multi = curl_multi_init();
    }
    auto cleanup = qScopeGuard([&] {
        CCurlLocker::Scope lock;
        if (multi && t.pEasy)
            curl_multi_remove_handle(multi, t.pEasy);
        if (t.pEasy)
            curl_easy_cleanup(t.pEasy);
        if (multi)
            curl_multi_cleanup(multi);
    });
    if (!t.pEasy || !multi)
        return QStringLiteral("download_failed");

    {
        CCurlLocker::Scope lock;
        CURL* e = t.pEasy;
        curl_easy_setopt(e, CURLOPT_URL, address.constData());
#if LIBCURL_VERSION_NUM >= 0x075500
        curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
#else
        curl_easy_setopt(e, CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
        curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
#endif
        curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(e, CURLOPT_ERRORBUFFER, error);
        curl_easy_setopt(e, CURLOPT_USERAGENT, "zrworklib/1.0");
        curl_easy_setopt(e, CURLOPT_FAILONERROR, 1L);
        curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, m_limits.nMaxRedirects > 0 ? 1L : 0L);
        curl_easy_setopt(e, CURLOPT_MAXREDIRS, static_cast<long>(m_limits.nMaxRedirects));
        curl_easy_setopt(e, CURLOPT_SSL_VERIFYPEER, 1L);
        curl_easy_setopt(e, CURLOPT_SSL_VERIFYHOST, 2L);
        curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT, static_cast<long>(m_limits.nConnectSec));
        curl_easy_setopt(e, CURLOPT_TIMEOUT, static_cast<long>(m_limits.nTotalSec));
        if (m_limits.nStallSec > 0) {
            curl_easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L);
            curl_easy_setopt(e, CURLOPT_LOW_SPEED_TIME, static_cast<long>(m_limits.nStallSec));
        }
        if (m_limits.nMaxBytes > 0)
            curl_easy_setopt(e, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(m_limits.nMaxBytes));
        curl_easy_setopt(e, CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(offset));
        curl_easy_setopt(e, CURLOPT_BUFFERSIZE, 512L * 1024);
        curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, &Transfer::OnWrite);
        curl_easy_setopt(e, CURLOPT_WRITEDATA, &t);
        curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, &Transfer::OnHeader);
        curl_easy_setopt(e, CURLOPT_HEADERDATA, &t);
        curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, &Transfer::OnSocket);
        curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, &t);
        curl_multi_add_handle(multi, e);
    }

    // The transfer: wait for the sockets outside the lock, act on them under it.
    QElapsedTimer sinceReport;
    sinceReport.start();
    bool stopped = false;
    int running = 1;
    long timeoutMs = 0;
    {
        CCurlLocker::Scope lock;
        curl_multi_socket_action(multi, CURL_SOCKET_TIMEOUT, 0, &running);
        curl_multi_timeout(multi, &timeoutMs);
    }
    std::vector<pollfd> fds;
    while (running > 0) {
        fds.clear();
        for (const auto& s : t.vSockets) {
            pollfd fd{};
            fd.fd = s.first;
            fd.events = static_cast<short>(((s.second & CURL_POLL_IN) ? POLLIN : 0) | ((s.second & CURL_POLL_OUT) ? POLLOUT : 0));
            fds.push_back(fd);
        }
        // Short waits keep a stop request prompt.
        const int wait = timeoutMs < 0 ? 100 : static_cast<int>(std::min<long>(timeoutMs, 100));
        const int ready = ZRW_POLL(fds.data(), static_cast<decltype(fds.size())>(fds.size()), wait);
        {
            CCurlLocker::Scope lock;
            if (ready > 0) {
                for (const pollfd& fd : fds) {
                    if (!fd.revents)
                        continue;
                    const int events = ((fd.revents & POLLIN) ? CURL_CSELECT_IN : 0) | ((fd.revents & POLLOUT) ? CURL_CSELECT_OUT : 0)
                                     | ((fd.revents & (POLLERR | POLLHUP | POLLNVAL)) ? CURL_CSELECT_ERR : 0);
                    curl_multi_socket_action(multi, fd.fd, events, &running);
                }
            } else {
                curl_multi_socket_action(multi, CURL_SOCKET_TIMEOUT, 0, &running);
            }
            curl_multi_timeout(multi, &timeoutMs);
        }
        if (progress && sinceReport.elapsed() >= 100) {
            sinceReport.restart();
            if (!progress(t.nOffset + t.nWritten, t.nTotal)) {
                stopped = true;
                break;
            }
        }
    }

    CURLcode result = CURLE_OK;
    long httpCode = 0;
    {
        CCurlLocker::Scope lock;
        int left = 0;
        while (CURLMsg* msg = curl_multi_info_read(multi, &left)) {
            if (msg->msg == CURLMSG_DONE)
                result = msg->data.result;
        }
        curl_easy_getinfo(t.pEasy, CURLINFO_RESPONSE_CODE, &httpCode);
    }
    m_nHttpCode = static_cast<int>(httpCode);
    m_sDetail = QString::fromUtf8(error);
    t.part.close();

    if (stopped)
        return QStringLiteral("download_stopped");
    if (result == CURLE_WRITE_ERROR && !t.sAbort.isEmpty())
        return t.sAbort;
    // A kept ".part" the server cannot continue (it may already be whole, the file may
    // have changed, or the server has no ranges): start over.
    if (offset > 0 && ((result == CURLE_HTTP_RETURNED_ERROR && httpCode == 416) || result == CURLE_RANGE_ERROR))
        return QLatin1String(kRestart);
    if (result != CURLE_OK)
        return WordOf(result, m_nHttpCode);
    // An empty body never reached the write function.
    if (!t.bOpened) {
        CCurlLocker::Scope lock;
        if (!t.Open())
            return t.sAbort;
        t.part.close();
    }
    const qint64 done = t.nOffset + t.nWritten;
    if (progress)
        progress(done, t.nTotal);
    if (t.nTotal >= 0 && done != t.nTotal)
        return QStringLiteral("download_truncated");
    return QString();
}

} // namespace WorkBaseData
