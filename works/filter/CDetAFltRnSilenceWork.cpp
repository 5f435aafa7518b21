#include "works/filter/CDetAFltRnSilenceWork.h"

#include "base/PubUtils.h"
#include "work/FFmpegOps.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using WorkBaseData::PubUtils;

namespace {

CWorkBase::Guards SilenceGuards()
{
    CWorkBase::Guards guards;
    guards.sInputWord = "audioRemSilence_failed";
    return guards;
}

} // namespace

CDetAFltRnSilenceWork::CDetAFltRnSilenceWork()
    : CWorkBase(9, SilenceGuards())
{
}

void CDetAFltRnSilenceWork::DoWork()
{
    const QString& sFile = InputFile();
    // Read for hosts that send them; neither changes what is done.
    const bool isVideo = m_mapParams.value(QStringLiteral("isVideo")).toBool();
    const int nDeMode = m_mapParams.value(QStringLiteral("nDeMode")).toInt();
    Q_UNUSED(isVideo)
    Q_UNUSED(nDeMode)

    const QString out = PubUtils::MakeUniqueFilePath(SaveDir(), QFileInfo(sFile).baseName(), QStringLiteral(".mp3"));
    NotifyProgress(5);
    // A failed run (no sound, a full disk) leaves neither the reserved name nor a partial .mp3.
    if (!FFmpegOps::RemoveSilence(QVariantMap{{QStringLiteral("inFile"), sFile}, {QStringLiteral("outFile"), out}}))
        return Fail("audioRemSilence_failed");
    // The output goes to the parameter map: hosts find it under "user_data".
    m_mapParams.insert(QStringLiteral("sOutFile"), out);
}
