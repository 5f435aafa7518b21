#pragma once
// A download of the HTTP service; it reports its end with finish(this) so the hub
// can delete it on the hub's own thread.

#include <QThread>

class DownThread : public QThread
{
    Q_OBJECT
public:
    using QThread::QThread;

Q_SIGNALS:
    void finish(DownThread* self);
};
