#include "works/filter/CDetVFltWaifu2x.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CProcessWork.h"
#include "works/filter/PictureAlpha.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

using WorkBaseData::PubUtils;

namespace {

// The formats the engine reads and writes itself.
bool EngineFormat(const QString& path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("png") || suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg")
        || suffix == QLatin1String("webp");
}

} // namespace

CDetVFltWaifu2x::CDetVFltWaifu2x()
    : CFrameSeqWork(8)
{
}

QString CDetVFltWaifu2x::ProgramPath() const
{
    const QString folder = m_mapParams.value(QStringLiteral("sWorkPath")).toString();
    const QString program = m_mapParams.value(QStringLiteral("sWorkExc")).toString();
    if (program.isEmpty())
        return QString();
    // Absolute, so that a name starting with '-' is never taken for an option.
    return QFileInfo(program).isAbsolute() || folder.isEmpty() ? QFileInfo(program).absoluteFilePath()
                                                               : QDir(folder).absoluteFilePath(program);
}

bool CDetVFltWaifu2x::PrepareFilter()
{
    const QFileInfo program(ProgramPath());
    if (program.isFile() && program.isExecutable())
        return true;
    ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "upscaler not found %s",
          program.filePath().toUtf8().constData());
    return false;
}

void CDetVFltWaifu2x::RunUpscaler(const QString& in, const QString& out)
{
    const QString path = ProgramPath();
    if (!path.isEmpty())
        CProcessWork::ExecProcess(path, {QStringLiteral("-i"), in, QStringLiteral("-o"), out},
                                  m_mapParams.value(QStringLiteral("sWorkPath")).toString());
}

bool CDetVFltWaifu2x::Upscale(const QString& in, const QString& out, const QString& scratch)
{
    PictureAlpha picture;
    // The engine knows only PNG, JPEG and WebP, and crashes on large pictures with
    // alpha: anything else goes through an opaque PNG, and the alpha comes back scaled.
    if (!picture.Read(in) || (!picture.HasAlpha() && EngineFormat(in) && EngineFormat(out))) {
        RunUpscaler(in, out);
        return QFileInfo(out).isFile();
    }
    const QString opaque = scratch + QStringLiteral("/.upscale-in.png");
    const QString scaled = scratch + QStringLiteral("/.upscale-out.png");
    const auto cleanup = qScopeGuard([&] {
        QFile::remove(opaque);
        QFile::remove(scaled);
    });
    if (!WritePicture(opaque, picture.Colour()))
        return false;
    RunUpscaler(opaque, scaled);
    PictureAlpha result;
    return result.Read(scaled) && WritePicture(out, picture.WithAlpha(result.Colour()));
}

void CDetVFltWaifu2x::FilterFrame(const QString& file)
{
    Upscale(file, file, QFileInfo(file).path());
}

bool CDetVFltWaifu2x::FilterPicture(const QString& in, const QString& out)
{
    if (!PrepareFilter())
        return false;
    const QString scratch = PubUtils::MakeTempWorkDir(SaveDir());
    const auto cleanup = qScopeGuard([&] { PubUtils::RemoveDir(scratch); });
    return QFileInfo(scratch).isDir() && Upscale(in, out, scratch);
}
