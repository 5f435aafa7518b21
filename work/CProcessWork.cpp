#include "work/CProcessWork.h"

// Placeholder until the runner lands.
CProcessWork::CProcessWork() : m_pProcess(new QProcess(this)) {}
CProcessWork::~CProcessWork() = default;
void CProcessWork::StartTask(const QString&, const QStringList&, const QString&) {}
QString CProcessWork::GetStdErr() { return QString(); }
bool CProcessWork::Succeeded() const { return false; }
void CProcessWork::ExecProcess(const QString&, const QStringList&, const QString&) {}
void CProcessWork::processError(QProcess::ProcessError) {}
void CProcessWork::slotReadStdErr() {}
void CProcessWork::slotReadStdOut() {}
void CProcessWork::processFinished(int) {}
