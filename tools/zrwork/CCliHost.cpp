#include "CCliHost.h"

#include "base/CCurlLocker.h"

#include <QCoreApplication>
#include <QMutex>
#include <QRegExp>
#include <QThread>

#include <atomic>
#include <csignal>
#include <cstdio>

#if defined(Q_OS_UNIX)
#include <unistd.h>
#endif

namespace {

// The callback is a plain function, so what it needs lives here.
std::atomic<bool> g_verbose{false};
std::atomic<bool> g_interrupted{false};
std::atomic<bool> g_finished{false};
QMutex g_lock;
QVariantMap g_finishedMap;
QStringList g_problems;
int g_lastPercent = -1;

bool StderrIsTerminal()
{
#if defined(Q_OS_UNIX)
    return isatty(STDERR_FILENO) != 0;
#else
    return false;
#endif
}

void OnSigInt(int)
{
    g_interrupted = true;
}

void ShowProgress(int pos, int max)
{
    const int percent = max > 0 ? pos * 100 / max : 0;
    if (percent == g_lastPercent)
        return;
    g_lastPercent = percent;
    if (StderrIsTerminal()) {
        const int width = 40;
        const int filled = percent * width / 100;
        std::fprintf(stderr, "\r[%s%s] %3d%%", QByteArray(filled, '#').constData(),
                     QByteArray(width - filled, ' ').constData(), percent);
    } else {
        std::fprintf(stderr, "progress %d/%d\n", pos, max);
    }
    std::fflush(stderr);
}

} // namespace

CCliHost::CCliHost(bool verbose, const QString& appData)
{
    g_verbose = verbose;
    {
        QMutexLocker locker(&g_lock);
        g_problems.clear();
    }
    QVariantMap info;
    info.insert(QStringLiteral("appData"), appData);
    // This host downloads too (fetch): the library's libcurl calls take our lock.
    info.insert(QStringLiteral("curlLocker"), static_cast<qint64>(reinterpret_cast<quintptr>(WorkBaseData::CCurlLocker::Get())));
    m_pLib = CreateWorkLib(&CCliHost::Callback, info);
}

CCliHost::~CCliHost()
{
    ReleaseWorkLib(m_pLib);
}

void CCliHost::Callback(WorkLibRs kind, const QVariant& value)
{
    const QVariantMap map = value.toMap();
    QMutexLocker locker(&g_lock);
    switch (kind) {
    case WorkLibRs_Log:
        if (map.value(QStringLiteral("log")).toString().contains(QRegExp(QStringLiteral(" (Error>>>|Warn>>) "))))
            g_problems.append(map.value(QStringLiteral("log")).toString());
        if (g_verbose) {
            std::fprintf(stderr, "%s%s\n", g_lastPercent >= 0 && StderrIsTerminal() ? "\n" : "",
                         map.value(QStringLiteral("log")).toString().toUtf8().constData());
        }
        break;
    case WorkLibRs_Progress:
        ShowProgress(map.value(QStringLiteral("nPos")).toInt(), map.value(QStringLiteral("nMax")).toInt());
        break;
    case WorkLibRs_Finished:
        g_finishedMap = map;
        g_finished = true;
        break;
    }
}

QStringList CCliHost::Problems()
{
    QMutexLocker locker(&g_lock);
    return g_problems;
}

int CCliHost::RunWork(int type, const QVariantMap& params, QVariantMap* finished)
{
    CDetWork* work = Start(type, params);
    if (!work)
        return 2;
    bool stopped = false;
    // The finished map is sent from inside the thread body, so it has arrived once the thread is done.
    while (!work->IsFinished()) {
        if (g_interrupted && !stopped) {
            std::fprintf(stderr, "\nstopping\n");
            work->StopWork();
            stopped = true;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        QThread::msleep(20);
    }
    return Finish(work, finished);
}

CDetWork* CCliHost::Start(int type, const QVariantMap& params)
{
    CDetWork* work = m_pLib ? m_pLib->CreateWork(type) : nullptr;
    if (!work) {
        if (m_pLib)
            m_pLib->ReleaseWork(nullptr); // drops the null entry the factory keeps
        return nullptr;
    }
    g_finished = false;
    g_interrupted = false;
    g_lastPercent = -1;
    // A closed terminal, a `timeout` or a service stop ends the work as Ctrl-C does:
    // the library then ends the running tool, and nothing is left running.
    m_previous[0] = std::signal(SIGINT, &OnSigInt);
#if defined(Q_OS_UNIX)
    m_previous[1] = std::signal(SIGTERM, &OnSigInt);
    m_previous[2] = std::signal(SIGHUP, &OnSigInt);
#endif
    work->SetParams(params);
    work->StartWork();
    return work;
}

bool CCliHost::Interrupted()
{
    return g_interrupted;
}

int CCliHost::Finish(CDetWork* work, QVariantMap* finished)
{
    work->StopWork();
    work->JoinWork(60000);
    m_pLib->ReleaseWork(work);
    std::signal(SIGINT, m_previous[0]);
#if defined(Q_OS_UNIX)
    std::signal(SIGTERM, m_previous[1]);
    std::signal(SIGHUP, m_previous[2]);
#endif
    if (g_lastPercent >= 0 && StderrIsTerminal())
        std::fprintf(stderr, "\n");

    QMutexLocker locker(&g_lock);
    if (finished)
        *finished = g_finishedMap;
    if (!g_finished)
        return 1;
    const QString resMsg = g_finishedMap.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("resMsg")).toString();
    return resMsg.isEmpty() ? 0 : 1;
}

