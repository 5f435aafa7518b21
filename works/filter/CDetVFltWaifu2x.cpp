#include "works/filter/CDetVFltWaifu2x.h"

#include "work/CProcessWork.h"

#include <QDir>
#include <QFileInfo>

CDetVFltWaifu2x::CDetVFltWaifu2x()
    : CFrameSeqWork(8)
{
}

void CDetVFltWaifu2x::RunUpscaler(const QString& in, const QString& out)
{
    const QString folder = m_mapParams.value(QStringLiteral("sWorkPath")).toString();
    const QString program = m_mapParams.value(QStringLiteral("sWorkExc")).toString();
    if (program.isEmpty())
        return;
    // Absolute, so that a name starting with '-' is never taken for an option.
    const QString path = QFileInfo(program).isAbsolute() || folder.isEmpty()
        ? QFileInfo(program).absoluteFilePath() : QDir(folder).absoluteFilePath(program);
    CProcessWork::ExecProcess(path, {QStringLiteral("-i"), in, QStringLiteral("-o"), out}, folder);
}

void CDetVFltWaifu2x::FilterFrame(const QString& file)
{
    RunUpscaler(file, file);
}

bool CDetVFltWaifu2x::FilterPicture(const QString& in, const QString& out)
{
    RunUpscaler(in, out);
    return QFileInfo(out).isFile();
}
