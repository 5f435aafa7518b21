#include "CBatchEvents.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

// QJsonObject sorts its keys; the event name is put first by hand for readers that grep.
QByteArray Line(const char* event, const QJsonObject& fields)
{
    QByteArray body = QJsonDocument(fields).toJson(QJsonDocument::Compact);
    body.remove(0, 1);
    return QByteArray("{\"event\":\"") + event + '"' + (body == "}" ? "" : ",") + body + '\n';
}

} // namespace

QByteArray CBatchEvents::Started(int index, int total, const QString& input)
{
    return Line("started", {{QStringLiteral("index"), index}, {QStringLiteral("total"), total}, {QStringLiteral("input"), input}});
}

QByteArray CBatchEvents::Progress(int index, const QString& input, int pos, int max)
{
    return Line("progress", {{QStringLiteral("index"), index},
                             {QStringLiteral("input"), input},
                             {QStringLiteral("pos"), pos},
                             {QStringLiteral("max"), max}});
}

QByteArray CBatchEvents::Finished(int index, const QString& input, const QString& outcome, const QString& output,
                                  double seconds, const QVariantMap& map)
{
    return Line("finished", {{QStringLiteral("index"), index},
                             {QStringLiteral("input"), input},
                             {QStringLiteral("outcome"), outcome},
                             {QStringLiteral("output"), output},
                             {QStringLiteral("seconds"), seconds},
                             {QStringLiteral("map"), QJsonObject::fromVariantMap(map)}});
}
