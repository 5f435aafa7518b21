#pragma once
// Turns command-line "key=value" items and JSON parameter files into a work's
// parameter map, typing each value by the Hungarian prefix of its key.

#include <QString>
#include <QVariant>
#include <QVariantMap>

class CParamParser
{
public:
    // "nSpeed=3" -> qint64, "dMinSec=1.5" -> double, "bMerge=true" -> bool,
    // "sFile=a b" -> string, "map..."/"js..." keys and values starting with '{' -> map.
    // False (and *error set) when the value does not fit its prefix.
    static bool ParseItem(const QString& item, QVariantMap& params, QString* error);
    // A JSON object whose values are typed the same way; nested objects stay maps.
    static bool ParseFile(const QString& path, QVariantMap& params, QString* error);
    // Types one value by its key's prefix.
    static bool TypeValue(const QString& key, const QVariant& raw, QVariant& typed, QString* error);
};
