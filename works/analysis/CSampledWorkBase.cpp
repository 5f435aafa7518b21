#include "works/analysis/CSampledWorkBase.h"

#include "work/ParamValues.h"

CSampledWorkBase::CSampledWorkBase(int type, const Guards& guards)
    : CWorkBase(type, guards)
{
}

QVariantMap CSampledWorkBase::Normalise(const QVariantMap& params, int type, bool* ok)
{
    Q_UNUSED(type) // each work's own keys are added here by type
    *ok = true;
    QVariantMap out = params;
    ParamValues::Text(params, "sFile", out, ok);
    out.insert(QStringLiteral("nStep"), ParamValues::Int(params, "nStep", 0, 0, 6, ok));
    ParamValues::Text(params, "sSaveDir", out, ok);
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
