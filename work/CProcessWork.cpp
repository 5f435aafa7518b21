#include "work/CProcessWork.h"

#include "base/CLogWriter.h"

#include <QByteArray>

#ifndef Q_OS_WIN
#include <csignal>
#include <sys/types.h>
#include <unistd.h>
#endif
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif

using namespace WorkBaseData;

namespace {

// How often a waiting runner looks at its work's stop flag, and how long a stopped
// child may take to end on its own before it is killed.
constexpr int kPollMs = 100;
constexpr int kGraceMs = 1500;

// The stop flag of the work running on this thread, if any.
thread_local const std::atomic<bool>* t_pWorking = nullptr;

// A child in a process group of its own: Ctrl-C in the host's terminal signals the
// whole foreground group, and must not kill the tool a work is waiting for. The group
// also lets a stop reach the helpers a tool starts (a script's engine, say).
class GroupLeaderProcess : public QProcess
{
public:
    using QProcess::QProcess;

protected:
    void setupChildProcess() override
    {
#ifndef Q_OS_WIN
        ::setpgid(0, 0);
#endif
#ifdef Q_OS_LINUX
        // A host that is killed must not leave its tools running (re-parented to init
        // and still writing). The signal comes when the starting thread ends, and a
        // work's thread always outlives the child it waits for.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != m_parent)
            ::_exit(127); // the host died before the line above
#endif
    }

private:
#ifdef Q_OS_LINUX
    const pid_t m_parent = ::getpid();
#endif
};

} // namespace

CProcessWork::StopScope::StopScope(const std::atomic<bool>& working)
    : m_pPrevious(t_pWorking)
{
    t_pWorking = &working;
}

CProcessWork::StopScope::~StopScope()
{
    t_pWorking = m_pPrevious;
}

bool CProcessWork::StopRequested()
{
    return t_pWorking && !t_pWorking->load();
}

CProcessWork::CProcessWork()
    : QObject(nullptr)
    , m_pProcess(new GroupLeaderProcess(this))
{
}

CProcessWork::~CProcessWork() = default;

void CProcessWork::StartTask(const QString& program, const QStringList& arguments, const QString& workDir)
{
    const QByteArray joined = arguments.join(QLatin1Char(' ')).toUtf8();
    ZRLOG(LOG_INFO, "CProcessWork::StartTask", "exec %s", joined.constData());

    m_bRan = false;
    m_bFailed = false;
    m_bStopped = false;
    // Should a caller run a second program on the same runner, its slots fire once, not twice.
    disconnect(m_pProcess, nullptr, this, nullptr);
    connect(m_pProcess, SIGNAL(error(QProcess::ProcessError)), this, SLOT(processError(QProcess::ProcessError)));
    connect(m_pProcess, SIGNAL(readyReadStandardError()), this, SLOT(slotReadStdErr()));
    connect(m_pProcess, SIGNAL(readyReadStandardOutput()), this, SLOT(slotReadStdOut()));
    connect(m_pProcess, SIGNAL(finished(int)), this, SLOT(processFinished(int)));

    if (!workDir.isEmpty())
        m_pProcess->setWorkingDirectory(workDir);
    if (StopRequested()) {
        // Not even started: a stopped work runs no further tool.
        m_bStopped = true;
        return;
    }
    m_pProcess->start(program, arguments, QIODevice::ReadWrite);
    // Returns at once when the start failed: the error slot has already logged it.
    while (!m_pProcess->waitForFinished(kPollMs) && m_pProcess->state() != QProcess::NotRunning) {
        if (StopRequested()) {
            EndChild();
            break;
        }
    }
    m_bRan = true;
}

void CProcessWork::EndChild()
{
    m_bStopped = true;
    const qint64 pid = m_pProcess->processId();
    ZRLOG(LOG_INFO, "CProcessWork::StartTask", "stopping child %lld", static_cast<long long>(pid));
#ifndef Q_OS_WIN
    if (pid > 0)
        ::kill(-static_cast<pid_t>(pid), SIGTERM);
#else
    m_pProcess->terminate();
#endif
    if (m_pProcess->waitForFinished(kGraceMs))
        return;
#ifndef Q_OS_WIN
    if (pid > 0)
        ::kill(-static_cast<pid_t>(pid), SIGKILL);
#endif
    m_pProcess->kill();
    m_pProcess->waitForFinished(-1);
}

QString CProcessWork::GetStdErr()
{
    return QString::fromUtf8(m_pProcess->readAllStandardError());
}

bool CProcessWork::Succeeded() const
{
    return m_bRan && !m_bFailed && m_pProcess->state() == QProcess::NotRunning
        && m_pProcess->exitStatus() == QProcess::NormalExit && m_pProcess->exitCode() == 0;
}

CProcessWork::Outcome CProcessWork::GetOutcome() const
{
    if (!m_bRan || m_pProcess->error() == QProcess::FailedToStart)
        return Outcome::NotStarted;
    if (m_pProcess->exitStatus() == QProcess::CrashExit)
        return Outcome::Crashed;
    return Succeeded() ? Outcome::Ok : Outcome::ExitCode;
}

void CProcessWork::ExecProcess(const QString& program, const QStringList& arguments, const QString& workDir)
{
    CProcessWork work;
    work.StartTask(program, arguments, workDir);
}

void CProcessWork::processError(QProcess::ProcessError error)
{
    m_bFailed = true;
    const QByteArray joined = m_pProcess->arguments().join(QLatin1Char(' ')).toUtf8();
    ZRLOG(LOG_WARN, "CProcessWork::processError", "process parame %s error code %d", joined.constData(),
          static_cast<int>(error));
}

// Output is read only after the run, so both channels simply keep growing meanwhile.
void CProcessWork::slotReadStdErr() {}

void CProcessWork::slotReadStdOut() {}

void CProcessWork::processFinished(int exitCode)
{
    if (exitCode == 0)
        return;
    const QByteArray joined = m_pProcess->arguments().join(QLatin1Char(' ')).toUtf8();
    ZRLOG(LOG_WARN, "CProcessWork::processFinished", "process parame %s exit code %d", joined.constData(), exitCode);
    const QByteArray out = m_pProcess->readAllStandardOutput();
    const QByteArray err = m_pProcess->readAllStandardError();
    // The labels are swapped on purpose: hosts parse this line as it has always been written.
    ZRLOG(LOG_WARN, "CProcessWork::processFinished", "process stdout %s stderr %s", err.constData(), out.constData());
}
