#include "work/CProcessWork.h"

#include "base/CLogWriter.h"

#include <QByteArray>

#ifndef Q_OS_WIN
#include <unistd.h>
#endif

using namespace WorkBaseData;

namespace {

// A child in a process group of its own: Ctrl-C in the host's terminal signals the
// whole foreground group, and must not kill the tool a work is waiting for.
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
    }
};

} // namespace

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
    // Should a caller run a second program on the same runner, its slots fire once, not twice.
    disconnect(m_pProcess, nullptr, this, nullptr);
    connect(m_pProcess, SIGNAL(error(QProcess::ProcessError)), this, SLOT(processError(QProcess::ProcessError)));
    connect(m_pProcess, SIGNAL(readyReadStandardError()), this, SLOT(slotReadStdErr()));
    connect(m_pProcess, SIGNAL(readyReadStandardOutput()), this, SLOT(slotReadStdOut()));
    connect(m_pProcess, SIGNAL(finished(int)), this, SLOT(processFinished(int)));

    if (!workDir.isEmpty())
        m_pProcess->setWorkingDirectory(workDir);
    m_pProcess->start(program, arguments, QIODevice::ReadWrite);
    // Returns at once when the start failed: the error slot has already logged it.
    m_pProcess->waitForFinished(-1);
    m_bRan = true;
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
