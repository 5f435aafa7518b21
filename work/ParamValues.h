#pragma once
// Typed reads of a parameter map for the works that normalise their parameters: a
// value of another type gives the fallback and clears *ok; one out of range is clamped.

#include <QVariantMap>

namespace ParamValues {

// An integer in low..high; a bool does not count as one.
qint64 Int(const QVariantMap& params, const char* key, qint64 fallback, qint64 low, qint64 high, bool* ok);
// A finite number of at least 0.
double NonNegative(const QVariantMap& params, const char* key, double fallback, bool* ok);
// Text (a missing key gives ""), stored into out under key.
void Text(const QVariantMap& params, const char* key, QVariantMap& out, bool* ok);
// A bool (a missing key gives false), stored into out under key.
void Bool(const QVariantMap& params, const char* key, QVariantMap& out, bool* ok);

} // namespace ParamValues
