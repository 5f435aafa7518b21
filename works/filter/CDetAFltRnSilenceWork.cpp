#include "works/filter/CDetAFltRnSilenceWork.h"

#include "base/PubUtils.h"
#include "work/FFmpegOps.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using WorkBaseData::PubUtils;

CDetAFltRnSilenceWork::CDetAFltRnSilenceWork()
    : CWorkBase(9)
{
}

void CDetAFltRnSilenceWork::DoWork()
{
    // Absolute paths, so that a name starting with '-' never reads as an ffmpeg option.
    const QString sFile = PubUtils::AbsolutePath(m_mapParams.value(QStringLiteral("sFile")).toString());
    const QString sSaveDir = PubUtils::AbsolutePath(m_mapParams.value(QStringLiteral("sSaveDir")).toString());
    // Read for hosts that send them; neither changes what is done.
    const bool isVideo = m_mapParams.value(QStringLiteral("isVideo")).toBool();
    const int nDeMode = m_mapParams.value(QStringLiteral("nDeMode")).toInt();
    Q_UNUSED(isVideo)
    Q_UNUSED(nDeMode)

    // An empty save folder would put the result at the root of the file system.
    if (sSaveDir.isEmpty() || !QDir().mkpath(sSaveDir))
        return Fail("save_dir_failed");
    const QString out = PubUtils::MakeUniqueFilePath(sSaveDir, QFileInfo(sFile).baseName(), QStringLiteral(".mp3"));
    NotifyProgress(5);
    if (!FFmpegOps::RemoveSilence(QVariantMap{{QStringLiteral("inFile"), sFile}, {QStringLiteral("outFile"), out}}))
        return Fail("audioRemSilence_failed");
    // The output goes to the parameter map: hosts find it under "user_data".
    m_mapParams.insert(QStringLiteral("sOutFile"), out);
}
