#include "works/analysis/CSampledWorkBase.h"

#include "work/ParamValues.h"

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
    return out;
}

bool CSampledWorkBase::SetParams(const QVariantMap& params)
{
    if (m_mapParams.isSharedWith(params))
        return true;
    bool ok = true;
    m_mapParams = Normalise(params, GetType(), &ok);
    return ok;
}
