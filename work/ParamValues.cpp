#include "work/ParamValues.h"

#include <algorithm>
#include <cmath>

namespace ParamValues {

qint64 Int(const QVariantMap& params, const char* key, qint64 fallback, qint64 low, qint64 high, bool* ok)
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

double NonNegative(const QVariantMap& params, const char* key, double fallback, bool* ok)
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

void Text(const QVariantMap& params, const char* key, QVariantMap& out, bool* ok)
{
    const QVariant value = params.value(QLatin1String(key));
    if (value.isValid() && !value.canConvert<QString>())
        *ok = false;
    out.insert(QLatin1String(key), value.toString());
}

void Bool(const QVariantMap& params, const char* key, QVariantMap& out, bool* ok)
{
    const QVariant value = params.value(QLatin1String(key));
    if (value.isValid() && !value.canConvert<bool>())
        *ok = false;
    out.insert(QLatin1String(key), value.toBool());
}

} // namespace ParamValues
