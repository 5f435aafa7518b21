#include "works/analysis/CMoveWorkBase.h"

#include "work/ParamValues.h"
#include "works/analysis/CMoveAnalysis.h"

#include <limits>


namespace {

CWorkBase::Guards MoveGuards(int type)
{
    CWorkBase::Guards guards;
    guards.bNeedSaveDir = type == 4; // only the split writes files
    guards.bMakeSaveDir = false;     // its result folder has its "zorun" fallback
    return guards;
}

} // namespace

CMoveWorkBase::CMoveWorkBase(int type)
    : CWorkBase(type, MoveGuards(type))
{
}

QVariantMap CMoveWorkBase::Normalise(const QVariantMap& params, int type, bool* ok)
{
    *ok = true;
    QVariantMap out = params; // the host's own keys travel on untouched
    ParamValues::Text(params, "sFile", out, ok);
    out.insert(QStringLiteral("nStep"), ParamValues::Int(params, "nStep", 0, 0, 6, ok));
    out.insert(QStringLiteral("nLevel"), ParamValues::Int(params, "nLevel", kDefaultLevel, 0, 64, ok));
    for (const char* key : {"nRectX", "nRectY", "nRectW", "nRectH"})
        out.insert(QLatin1String(key), ParamValues::Int(params, key, 0, 0, std::numeric_limits<int>::max(), ok));
    out.insert(QStringLiteral("dMinSec"), ParamValues::NonNegative(params, "dMinSec", 0, ok));
    out.insert(QStringLiteral("dGapSec"), ParamValues::NonNegative(params, "dGapSec", kDefaultGap, ok));
    if (type == 4) {
        ParamValues::Text(params, "sSaveDir", out, ok);
        ParamValues::Bool(params, "bMergeVideo", out, ok);
    }
    return out;
}

bool CMoveWorkBase::SetParams(const QVariantMap& params)
{
    return SetNormalisedParams(params, &Normalise);
}

bool CMoveWorkBase::Analyse(CMoveAnalysis& analysis, int from, int to)
{
    const QString failure = analysis.Run([this] { return m_bWorking.load(); },
                                         [&](int pos) { NotifyProgress(from + pos * (to - from) / 100); });
    m_mapResult.insert(QStringLiteral("nFrameStep"), analysis.FrameStep());
    m_mapResult.insert(QStringLiteral("nDecoded"), analysis.Decoded());
    if (!analysis.Model().isEmpty())
        m_mapResult.insert(QStringLiteral("sModel"), analysis.Model());
    if (!failure.isEmpty()) {
        Fail(failure.toLatin1().constData());
        return false;
    }
    const QVariantList events = analysis.Events();
    m_mapResult.insert(QStringLiteral("nSamples"), analysis.Samples().size());
    m_mapResult.insert(QStringLiteral("lstEvents"), events);
    return true;
}
