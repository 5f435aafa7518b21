#pragma once
// Runs one external program to completion on the calling thread. Output is left in
// the QProcess buffers while the child runs and is read only afterwards. On POSIX the
// child leads a process group of its own, so a terminal's Ctrl-C reaches only the
// host; a work's stop reaches the child through the thread's stop flag (StopScope),
// and on Linux the child dies with the host.

#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <atomic>

class CProcessWork : public QObject
{
    Q_OBJECT
public:
    CProcessWork();
    ~CProcessWork() override;
    CProcessWork(const CProcessWork&) = delete;
    CProcessWork& operator=(const CProcessWork&) = delete;

    // While one lives on a thread, a child started there ends as soon as *working turns
    // false: terminated (its whole process group), killed after a grace period.
    class StopScope
    {
    public:
        explicit StopScope(const std::atomic<bool>& working);
        ~StopScope();
        StopScope(const StopScope&) = delete;
        StopScope& operator=(const StopScope&) = delete;

    private:
        const std::atomic<bool>* m_pPrevious;
    };
    // Whether the calling thread's work was asked to stop.
    static bool StopRequested();

    // Blocks until the child has exited, failed to start or was stopped; no time limit.
    void StartTask(const QString& program, const QStringList& arguments, const QString& workDir);
    // Everything still buffered on the child's standard error, decoded from UTF-8.
    QString GetStdErr();
    // True when the last child started, exited normally and returned 0.
    bool Succeeded() const;
    // How the last child ended, for callers that must tell a refused input (a non-zero
    // exit) from a child that never ran or was killed.
    enum class Outcome { Ok, ExitCode, Crashed, NotStarted };
    Outcome GetOutcome() const;
    // True when the last child was ended because its work was stopped.
    bool Stopped() const { return m_bStopped; }

    // One-shot run: construct, StartTask, destroy.
    static void ExecProcess(const QString& program, const QStringList& arguments, const QString& workDir);

public Q_SLOTS:
    void processError(QProcess::ProcessError error);
    void slotReadStdErr();
    void slotReadStdOut();
    void processFinished(int exitCode);

private:
    void EndChild();

    QProcess* m_pProcess;
    bool m_bRan = false;
    bool m_bStopped = false;
    bool m_bFailed = false;
};
