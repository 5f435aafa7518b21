#include "CBatchSummary.h"

#include <QRegExp>

#include <QStringList>

namespace {

QString Shown(const QString& path, const QString& base)
{
    if (base.isEmpty() || !path.startsWith(base + QLatin1Char('/')))
        return path;
    return path.mid(base.size() + 1);
}

QString CsvField(const QString& text)
{
    if (!text.contains(QRegExp(QStringLiteral("[\",\r\n]"))))
        return text;
    return QLatin1Char('"') + QString(text).replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
}

} // namespace

QByteArray CBatchSummary::Table(const QVector<Row>& rows, const QString& base)
{
    QVector<QStringList> cells{{QStringLiteral("input"), QStringLiteral("outcome"), QStringLiteral("output"), QStringLiteral("seconds")}};
    for (const Row& row : rows)
        cells.append({Shown(row.input, base), row.outcome, Shown(row.output, base), QString::number(row.seconds, 'f', 1)});
    int widths[3] = {0, 0, 0};
    for (const QStringList& line : cells) {
        for (int c = 0; c < 3; ++c)
            widths[c] = qMax(widths[c], line.at(c).size());
    }
    QString text;
    for (const QStringList& line : cells) {
        for (int c = 0; c < 3; ++c)
            text += line.at(c).leftJustified(widths[c] + 2);
        text += line.at(3).rightJustified(7) + QLatin1Char('\n');
    }
    return (text + Tally(rows) + QLatin1Char('\n')).toUtf8();
}

QByteArray CBatchSummary::Csv(const QVector<Row>& rows)
{
    QString text = QStringLiteral("input,outcome,output,seconds\r\n");
    for (const Row& row : rows) {
        text += CsvField(row.input) + QLatin1Char(',') + CsvField(row.outcome) + QLatin1Char(',') + CsvField(row.output)
                + QLatin1Char(',') + QString::number(row.seconds, 'f', 3) + QStringLiteral("\r\n");
    }
    return text.toUtf8();
}

QString CBatchSummary::Tally(const QVector<Row>& rows)
{
    int ok = 0, skipped = 0, notStarted = 0, failed = 0;
    for (const Row& row : rows) {
        if (row.outcome == QLatin1String("ok"))
            ++ok;
        else if (row.outcome == QLatin1String("skipped"))
            ++skipped;
        else if (row.outcome == QLatin1String("not_started"))
            ++notStarted;
        else
            ++failed;
    }
    QStringList parts;
    const QPair<int, const char*> counts[] = {{ok, "ok"}, {skipped, "skipped"}, {failed, "failed"}, {notStarted, "not started"}};
    for (const auto& count : counts) {
        if (count.first > 0)
            parts.append(QStringLiteral("%1 %2").arg(count.first).arg(QLatin1String(count.second)));
    }
    return QStringLiteral("%1 input%2: %3").arg(rows.size()).arg(rows.size() == 1 ? "" : "s").arg(parts.join(QStringLiteral(", ")));
}
