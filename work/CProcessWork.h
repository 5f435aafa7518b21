#pragma once
// Runs one external program to completion on the calling thread. Output is left in
// the QProcess buffers while the child runs and is read only afterwards. On POSIX the
// child leads a process group of its own, so a terminal's Ctrl-C reaches only the
// host: the work notices its stop when the child has ended, as it would on its own.

#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>

class CProcessWork : public QObject
{
    Q_OBJECT
public:
    CProcessWork();
    ~CProcessWork() override;
    CProcessWork(const CProcessWork&) = delete;
    CProcessWork& operator=(const CProcessWork&) = delete;

    // Blocks until the child has exited or failed to start; no time limit.
    void StartTask(const QString& program, const QStringList& arguments, const QString& workDir);
    // Everything still buffered on the child's standard error, decoded from UTF-8.
    QString GetStdErr();
    // True when the last child started, exited normally and returned 0.
    bool Succeeded() const;
    // How the last child ended, for callers that must tell a refused input (a non-zero
    // exit) from a child that never ran or was killed.
    enum class Outcome { Ok, ExitCode, Crashed, NotStarted };
    Outcome GetOutcome() const;

    // One-shot run: construct, StartTask, destroy.
    static void ExecProcess(const QString& program, const QStringList& arguments, const QString& workDir);

public Q_SLOTS:
    void processError(QProcess::ProcessError error);
    void slotReadStdErr();
    void slotReadStdOut();
    void processFinished(int exitCode);

private:
    QProcess* m_pProcess;
    bool m_bRan = false;
    bool m_bFailed = false;
};
