#pragma once
// A download of the HTTP service on its own thread; it reports its end with
// finish(this) so the hub can delete it on the hub's own thread.

#include "base/CHttpConn.h"

#include <QImage>
#include <QThread>
#include <atomic>

/**
 * @brief Runs one CHttpConn download on its own thread.
 *
 * Start it with start(); progress() comes at most every 100 ms from the download
 * thread, finish() once when the thread is done (ResMsg() then holds "" or one of
 * CHttpConn's failure words). When a hub has been set, finish() is connected to its
 * onDownFinish(DownThread*) slot, which deletes the thread; otherwise the owner does.
 * Deleting a running download stops it and waits for its thread.
 */
class DownThread : public QThread
{
    Q_OBJECT
public:
    DownThread(const QString& url, const QString& file, const WorkBaseData::HttpLimits& limits = WorkBaseData::HttpLimits(),
               QObject* parent = nullptr);
    ~DownThread() override;

    /** Asks the download to stop; it ends with "download_stopped" within about 100 ms. */
    void Stop() { m_bStop = true; }

    const QString& Url() const { return m_sUrl; }
    const QString& File() const { return m_sFile; }
    /** "" on success, else the failure word; valid once finish() has come. */
    QString ResMsg() const { return m_sResMsg; }
    /** The last HTTP status and libcurl's text for a failure; valid once finish() has come. */
    int HttpCode() const { return m_nHttpCode; }
    QString Detail() const { return m_sDetail; }
    /**
     * @brief The downloaded file decoded as a picture; a null image when it is none.
     *
     * QImage needs no GUI application; a host with one makes a QPixmap with
     * QPixmap::fromImage().
     */
    QImage Picture() const;

    /** The object whose onDownFinish(DownThread*) slot receives every later download's end. */
    static void SetHub(QObject* hub);

Q_SIGNALS:
    void progress(DownThread* self, qint64 done, qint64 total);
    void finish(DownThread* self);

protected:
    void run() override;

private:
    const QString m_sUrl;
    const QString m_sFile;
    const WorkBaseData::HttpLimits m_limits;
    std::atomic<bool> m_bStop{false};
    QString m_sResMsg;
    int m_nHttpCode = 0;
    QString m_sDetail;
};
