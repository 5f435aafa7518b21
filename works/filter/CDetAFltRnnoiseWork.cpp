#include "works/filter/CDetAFltRnnoiseWork.h"

#include "work/CVideoQuery.h"

CDetAFltRnnoiseWork::CDetAFltRnnoiseWork()
    // A failed stage stops silently and the output travels in the parameter map:
    // hosts take a missing "sOutFile" there for failure.
    : CFrameSeqWork(10, {false, 0, 21, 26, 31, false, true, false})
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
