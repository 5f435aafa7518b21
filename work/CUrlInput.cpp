#include "work/CUrlInput.h"

#include "base/CHostLink.h"
#include "base/CHttpConn.h"
#include "base/CLogWriter.h"
#include "base/PubUtils.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>

using WorkBaseData::CHttpConn;

namespace {

const QString kUrlKey = QStringLiteral("sSourceUrl");

} // namespace

QString CUrlInput::CacheDir()
{
    const QString data = WorkBaseData::PubUtils::GetDataDir();
    return (data.isEmpty() ? QDir::tempPath() + QStringLiteral("/zrworklib") : data) + QStringLiteral("/DownCache");
}

QString CUrlInput::CachePath(const QString& url)
{
    const QByteArray key = QCryptographicHash::hash(url.toUtf8(), QCryptographicHash::Sha1).toHex().left(24);
    return CacheDir() + QLatin1Char('/') + QString::fromLatin1(key) + QLatin1Char('/') + CHttpConn::FileNameOf(url);
}

bool CUrlInput::Prepare(QVariantMap& params, QVariantMap& result, const std::atomic<bool>& working, const QByteArray& func)
{
    const QString url = params.value(QStringLiteral("sFile")).toString().trimmed();
    if (CHttpConn::IsHttpUrl(url)) {
        const QString local = CachePath(url);
        QString word;
        // Another run (of this process or another) may be fetching the same address.
        QDir().mkpath(QFileInfo(local).absolutePath());
        QLockFile lock(QFileInfo(local).absolutePath() + QStringLiteral("/.lock"));
        lock.setStaleLockTime(0);
        // Only a lock held elsewhere is waited for: an unwritable cache folder fails at once.
        bool locked = false;
        while (working && !(locked = lock.tryLock(100)) && lock.error() == QLockFile::LockFailedError) {
        }
        if (!working) {
            word = QStringLiteral("download_stopped");
        } else if (!locked) {
            word = QStringLiteral("download_write_failed");
            ZRLOG(WorkBaseData::LOG_WARN, func.constData(), "download failed %s %s (no cache folder %s)",
                  word.toUtf8().constData(), url.toUtf8().constData(), CacheDir().toUtf8().constData());
        } else if (!QFileInfo(local).isFile()) {
            ZRLOG(WorkBaseData::LOG_INFO, func.constData(), "download %s", url.toUtf8().constData());
            CHttpConn conn;
            word = conn.Download(url, local, [&](qint64 done, qint64 total) {
                // The work has not begun: its position stays 0 while the bytes come in.
                QVariantMap progress;
                progress.insert(QStringLiteral("user_data"), params);
                progress.insert(QStringLiteral("nPos"), 0);
                progress.insert(QStringLiteral("nMax"), 100);
                progress.insert(QStringLiteral("nDownBytes"), done);
                progress.insert(QStringLiteral("nDownTotal"), total);
                WorkBaseData::CHostLink::Send(WorkBaseData::CHostLink::Progress, progress);
                return working.load();
            });
            if (!word.isEmpty())
                ZRLOG(WorkBaseData::LOG_WARN, func.constData(), "download failed %s %s (HTTP %d, %s)",
                      word.toUtf8().constData(), url.toUtf8().constData(), conn.HttpCode(), conn.Detail().toUtf8().constData());
        }
        if (!word.isEmpty()) {
            result.insert(QStringLiteral("sDownMsg"), word);
            result.insert(kUrlKey, url);
            return false;
        }
        params.insert(QStringLiteral("sFile"), local);
        params.insert(kUrlKey, url);
    }
    // Also on a later run of the same work, whose "sFile" is the copy already.
    if (params.contains(kUrlKey)) {
        result.insert(kUrlKey, params.value(kUrlKey));
        result.insert(QStringLiteral("sLocalFile"), params.value(QStringLiteral("sFile")));
    }
    return true;
}
