#include "base/DownThread.h"

#include <QPointer>

namespace {

QPointer<QObject>& Hub()
{
    static QPointer<QObject> hub;
    return hub;
}

} // namespace

DownThread::DownThread(const QString& url, const QString& file, const WorkBaseData::HttpLimits& limits, QObject* parent)
    : QThread(parent)
    , m_sUrl(url)
    , m_sFile(file)
    , m_limits(limits)
{
    qRegisterMetaType<DownThread*>("DownThread*");
    // finish() goes out from QThread::finished, on the download thread itself: a hub that
    // deletes us on receipt then waits for the thread's last steps instead of destroying
    // a running thread.
    connect(this, &QThread::finished, this, [this] { Q_EMIT finish(this); }, Qt::DirectConnection);
    if (QObject* hub = Hub().data())
        connect(this, SIGNAL(finish(DownThread*)), hub, SLOT(onDownFinish(DownThread*)), Qt::QueuedConnection);
}

DownThread::~DownThread()
{
    Stop();
    wait();
}

void DownThread::SetHub(QObject* hub)
{
    Hub() = hub;
}

QImage DownThread::Picture() const
{
    return m_sResMsg.isEmpty() ? QImage(m_sFile) : QImage();
}

void DownThread::run()
{
    WorkBaseData::CHttpConn conn(m_limits);
    m_sResMsg = conn.Download(m_sUrl, m_sFile, [this](qint64 done, qint64 total) {
        Q_EMIT progress(this, done, total);
        return !m_bStop;
    });
    m_nHttpCode = conn.HttpCode();
    m_sDetail = conn.Detail();
}
