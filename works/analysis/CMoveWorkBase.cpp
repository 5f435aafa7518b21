#include "works/analysis/CMoveWorkBase.h"

#include "works/analysis/CMoveAnalysis.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Reads key as an integer; a value of another type gives fallback and clears *ok.
qint64 IntValue(const QVariantMap& params, const char* key, qint64 fallback, qint64 low, qint64 high, bool* ok)
{
    const QVariant value = params.value(QLatin1String(key));
    if (!value.isValid())
        return fallback;
    bool converted = false;
    const qint64 n = value.type() == QVariant::Bool ? -1 : value.toLongLong(&converted);
    if (!converted) {
        *ok = false;
        return fallback;
    }
    const qint64 clamped = std::clamp(n, low, high);
    *ok = *ok && clamped == n;
    return clamped;
}

double DoubleValue(const QVariantMap& params, const char* key, double fallback, bool* ok)
{
    const QVariant value = params.value(QLatin1String(key));
    if (!value.isValid())
        return fallback;
    bool converted = false;
    const double d = value.type() == QVariant::Bool ? -1 : value.toDouble(&converted);
    if (!converted || !std::isfinite(d)) {
        *ok = false;
        return fallback;
    }
    *ok = *ok && d >= 0;
    return std::max(d, 0.0);
}

} // namespace

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
    const auto text = [&](const char* key) {
        const QVariant value = params.value(QLatin1String(key));
        if (value.isValid() && !value.canConvert<QString>())
            *ok = false;
        out.insert(QLatin1String(key), value.toString());
    };
    text("sFile");
    out.insert(QStringLiteral("nStep"), IntValue(params, "nStep", 0, 0, 6, ok));
    out.insert(QStringLiteral("nLevel"), IntValue(params, "nLevel", kDefaultLevel, 0, 64, ok));
    for (const char* key : {"nRectX", "nRectY", "nRectW", "nRectH"})
        out.insert(QLatin1String(key), IntValue(params, key, 0, 0, std::numeric_limits<int>::max(), ok));
    out.insert(QStringLiteral("dMinSec"), DoubleValue(params, "dMinSec", 0, ok));
    out.insert(QStringLiteral("dGapSec"), DoubleValue(params, "dGapSec", kDefaultGap, ok));
    if (type == 4) {
        text("sSaveDir");
        const QVariant merge = params.value(QStringLiteral("bMergeVideo"));
        if (merge.isValid() && !merge.canConvert<bool>())
            *ok = false;
        out.insert(QStringLiteral("bMergeVideo"), merge.toBool());
    }
    return out;
}

bool CMoveWorkBase::SetParams(const QVariantMap& params)
{
    if (m_mapParams.isSharedWith(params))
        return true;
    bool ok = true;
    m_mapParams = Normalise(params, GetType(), &ok);
    return ok;
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
