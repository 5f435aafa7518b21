#pragma once
// The JSON Lines a batch prints with --events, for scripts and GUIs: one object a line,
// "event" first telling which ("started", "progress", "finished").

#include <QByteArray>
#include <QString>
#include <QVariantMap>

class CBatchEvents
{
public:
    static QByteArray Started(int index, int total, const QString& input);
    static QByteArray Progress(int index, const QString& input, int pos, int max);
    // outcome "skipped" with the journal's map for an input done before.
    static QByteArray Finished(int index, const QString& input, const QString& outcome, const QString& output,
                               double seconds, const QVariantMap& map);
};
