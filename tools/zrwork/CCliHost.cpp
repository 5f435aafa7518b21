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
std::atomic<int> g_interrupts{0};
std::atomic<bool> g_finished{false};
QMutex g_lock;
QVariantMap g_finishedMap;
QStringList g_problems;
int g_lastPercent = -1;
CCliHost::Sink g_sink;
const int kSignals[] = {SIGINT, SIGTERM,
#if defined(SIGHUP)
                        SIGHUP
#else
                        SIGINT
#endif
};

void OnInterrupt(int signal)
{
    // Two were asked to stop gently; the third wants out now.
    if (++g_interrupts >= 3) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

void ShowProgress(int pos, int max)
{
    const int percent = max > 0 ? pos * 100 / max : 0;
    if (percent == g_lastPercent)
        return;
    g_lastPercent = percent;
    if (CCliHost::StderrIsTerminal()) {
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
    if (kind == WorkLibRs_Log && map.value(QStringLiteral("log")).toString().contains(QRegExp(QStringLiteral(" (Error>>>|Warn>>) "))))
        g_problems.append(map.value(QStringLiteral("log")).toString());
    if (g_sink) {
        g_sink(kind, map);
        return;
    }
    switch (kind) {
    case WorkLibRs_Log:
        if (g_verbose) {
            std::fprintf(stderr, "%s%s\n", g_lastPercent >= 0 && CCliHost::StderrIsTerminal() ? "\n" : "",
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

bool CCliHost::StderrIsTerminal()
{
#if defined(Q_OS_UNIX)
    return isatty(STDERR_FILENO) != 0;
#else
    return false;
#endif
}

void CCliHost::SetSink(Sink sink)
{
    QMutexLocker locker(&g_lock);
    g_sink = std::move(sink);
}

bool CCliHost::Verbose()
{
    return g_verbose;
}

CCliHost::Interrupts::Interrupts()
{
    g_interrupts = 0;
    for (int i = 0; i < 3; ++i)
        m_previous[i] = std::signal(kSignals[i], &OnInterrupt);
}

CCliHost::Interrupts::~Interrupts()
{
    for (int i = 2; i >= 0; --i)
        std::signal(kSignals[i], m_previous[i]);
}

int CCliHost::Interrupts::Count()
{
    return g_interrupts;
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
        if (Interrupted() && !stopped) {
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
    g_lastPercent = -1;
    // A closed terminal, a `timeout` or a service stop ends the work as Ctrl-C does:
    // the library then ends the running tool, and nothing is left running.
    m_pInterrupts = std::make_unique<Interrupts>();
    work->SetParams(params);
    work->StartWork();
    return work;
}

bool CCliHost::Interrupted()
{
    return Interrupts::Count() > 0;
}

int CCliHost::Finish(CDetWork* work, QVariantMap* finished)
{
    work->StopWork();
    work->JoinWork(60000);
    m_pLib->ReleaseWork(work);
    m_pInterrupts.reset();
    if (g_lastPercent >= 0 && CCliHost::StderrIsTerminal())
        std::fprintf(stderr, "\n");

    QMutexLocker locker(&g_lock);
    if (finished)
        *finished = g_finishedMap;
    if (!g_finished)
        return 1;
    const QString resMsg = g_finishedMap.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("resMsg")).toString();
    return resMsg.isEmpty() ? 0 : 1;
}

