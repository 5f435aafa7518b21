#include "works/analysis/CSampledWorkBase.h"

#include "work/ParamValues.h"

#include <algorithm>

CSampledWorkBase::CSampledWorkBase(int type, const Guards& guards)
    : CWorkBase(type, guards)
{
}

QVariantMap CSampledWorkBase::Normalise(const QVariantMap& params, int type, bool* ok)
{
    *ok = true;
    QVariantMap out = params;
    ParamValues::Text(params, "sFile", out, ok);
    out.insert(QStringLiteral("nStep"), ParamValues::Int(params, "nStep", 0, 0, 6, ok));
    ParamValues::Text(params, "sSaveDir", out, ok);
    if (type == 1) {
        out.insert(QStringLiteral("nColours"), ParamValues::Int(params, "nColours", 3, 1, 8, ok));
        out.insert(QStringLiteral("dSeconds"), ParamValues::NonNegative(params, "dSeconds", 0, ok));
        ParamValues::Bool(params, "bFix", out, ok);
    }
    if (type == 3) {
        // The face work's keys (CDetFaceWork).
        out.insert(QStringLiteral("nMinFace"), ParamValues::Int(params, "nMinFace", 80, 20, 4096, ok));
        ParamValues::Text(params, "sPeople", out, ok);
        ParamValues::Text(params, "sWorkPath", out, ok);
        const double maxDist = ParamValues::NonNegative(params, "dMaxDist", 0.6, ok);
        *ok = *ok && maxDist <= 2;
        out.insert(QStringLiteral("dMaxDist"), std::min(maxDist, 2.0));
        out.insert(QStringLiteral("dGapSec"), ParamValues::NonNegative(params, "dGapSec", 1.0, ok));
    }
    return out;
}

bool CSampledWorkBase::SetParams(const QVariantMap& params)
{
    return SetNormalisedParams(params, &Normalise);
}
