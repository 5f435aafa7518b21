#pragma once
// The table a batch ends with, for people (aligned text) and for programs (CSV).

#include <QByteArray>
#include <QString>
#include <QVector>

class CBatchSummary
{
public:
    struct Row
    {
        QString input;
        QString outcome;
        QString output;
        double seconds = 0;
    };

    // Aligned columns under a header, then the tally line; paths under base are shown relative to it.
    static QByteArray Table(const QVector<Row>& rows, const QString& base);
    // RFC 4180: a header line, CRLF line ends, fields with commas, quotes or line breaks quoted.
    static QByteArray Csv(const QVector<Row>& rows);
    // "5 inputs: 3 ok, 1 skipped, 1 failed" (a part only when its count is not zero).
    static QString Tally(const QVector<Row>& rows);
};
