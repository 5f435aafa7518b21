#include "CParamParser.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace {

// The prefix is the run of lower-case letters before the first capital or digit.
QString Prefix(const QString& key)
{
    int i = 0;
    while (i < key.size() && key.at(i).isLower())
        ++i;
    return key.left(i);
}

bool Fail(QString* error, const QString& text)
{
    if (error)
        *error = text;
    return false;
}

bool ParseJsonObject(const QByteArray& text, QVariantMap& out)
{
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(text, &err);
    if (err.error != QJsonParseError::NoError || !doc.isObject())
        return false;
    out = doc.object().toVariantMap();
    return true;
}

} // namespace

bool CParamParser::TypeValue(const QString& key, const QVariant& raw, QVariant& typed, QString* error)
{
    const QString prefix = Prefix(key);
    const bool isText = raw.type() == QVariant::String;
    const QString text = raw.toString().trimmed();

    if (prefix == QLatin1String("sjs") || prefix == QLatin1String("s")) {
        typed = raw.toString();
        return true;
    }
    if (prefix == QLatin1String("n") || prefix == QLatin1String("en")) {
        bool ok = false;
        const qint64 v = isText ? text.toLongLong(&ok) : raw.toLongLong(&ok);
        if (!ok || (!isText && raw.toDouble() != static_cast<double>(v)))
            return Fail(error, QStringLiteral("%1 wants an integer, got '%2'").arg(key, raw.toString()));
        typed = v;
        return true;
    }
    if (prefix == QLatin1String("d") || prefix == QLatin1String("f")) {
        bool ok = false;
        const double v = isText ? text.toDouble(&ok) : raw.toDouble(&ok);
        // nan and inf compare false with everything: a work would quietly do nothing.
        if (!ok || !std::isfinite(v))
            return Fail(error, QStringLiteral("%1 wants a finite number, got '%2'").arg(key, raw.toString()));
        typed = v;
        return true;
    }
    if (prefix == QLatin1String("b")) {
        if (raw.type() == QVariant::Bool) {
            typed = raw.toBool();
            return true;
        }
        const QString t = text.toLower();
        if (t == QLatin1String("true") || t == QLatin1String("1") || t == QLatin1String("yes"))
            typed = true;
        else if (t == QLatin1String("false") || t == QLatin1String("0") || t == QLatin1String("no"))
            typed = false;
        else
            return Fail(error, QStringLiteral("%1 wants true or false, got '%2'").arg(key, raw.toString()));
        return true;
    }
    if (raw.type() == QVariant::Map) {
        typed = raw;
        return true;
    }
    if (prefix == QLatin1String("map") || prefix == QLatin1String("js") || text.startsWith(QLatin1Char('{'))) {
        QVariantMap map;
        if (!ParseJsonObject(text.toUtf8(), map))
            return Fail(error, QStringLiteral("%1 wants a JSON object, got '%2'").arg(key, raw.toString()));
        typed = map;
        return true;
    }
    typed = raw;
    return true;
}

bool CParamParser::ParseItem(const QString& item, QVariantMap& params, QString* error)
{
    const int eq = item.indexOf(QLatin1Char('='));
    if (eq <= 0)
        return Fail(error, QStringLiteral("parameter '%1' is not key=value").arg(item));
    const QString key = item.left(eq);
    QVariant typed;
    if (!TypeValue(key, item.mid(eq + 1), typed, error))
        return false;
    params.insert(key, typed);
    return true;
}

bool CParamParser::ParseFile(const QString& path, QVariantMap& params, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Fail(error, QStringLiteral("cannot read %1").arg(path));
    QVariantMap raw;
    if (!ParseJsonObject(file.readAll(), raw))
        return Fail(error, QStringLiteral("%1 is not a JSON object").arg(path));
    for (auto it = raw.cbegin(); it != raw.cend(); ++it) {
        QVariant typed;
        if (!TypeValue(it.key(), it.value(), typed, error))
            return false;
        params.insert(it.key(), typed);
    }
    return true;
}
