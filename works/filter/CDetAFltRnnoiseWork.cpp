#include "works/filter/CDetAFltRnnoiseWork.h"

#include "work/CVideoQuery.h"

namespace {

CFrameSeqWork::Stages PassStages()
{
    CFrameSeqWork::Stages stages;
    stages.bFilterFrames = false;
    stages.nAfterFrames = 0;
    stages.nAfterEncode = 21;
    stages.nAfterAudio = 26;
    stages.nAfterMerge = 31;
    // Hosts find the output under "user_data"; its absence there is the failure.
    stages.bOutInParams = true;
    stages.bPictureMode = false;
    return stages;
}

CWorkBase::Guards SilentGuards()
{
    CWorkBase::Guards guards;
    guards.sInputWord = nullptr;
    guards.bSilent = true;
    return guards;
}

} // namespace

CDetAFltRnnoiseWork::CDetAFltRnnoiseWork()
    // Every failure, a bad save folder included, stops silently.
    : CFrameSeqWork(10, PassStages(), SilentGuards())
{
}

bool CDetAFltRnnoiseWork::QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply)
{
    return CVideoQuery::Answer(args, std::move(reply)) == 1;
}

void CDetAFltRnnoiseWork::DoWork()
{
    // Read and ignored: the pass re-encodes whatever the kind or mode.
    Q_UNUSED(m_mapParams.value(QStringLiteral("isVideo")).toBool());
    Q_UNUSED(m_mapParams.value(QStringLiteral("nDeMode")).toInt());
    CFrameSeqWork::DoWork();
}
