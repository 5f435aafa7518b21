#include "CBatchProgress.h"

#include <QFileInfo>

QString CBatchProgress::TimeLeft(const State& state)
{
    if (state.ranDone <= 0)
        return QStringLiteral("--:--");
    const qint64 seconds = state.elapsedMs * qMax(0, state.toRun - state.ranDone) / state.ranDone / 1000;
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QStringList CBatchProgress::Block(const State& state, int width)
{
    const int barWidth = 24;
    const int filled = state.total > 0 ? state.done * barWidth / state.total : 0;
    QStringList lines{QStringLiteral("[%1%2] %3/%4 done, %5 failed, %6 left")
                          .arg(QString(filled, QLatin1Char('#')), QString(barWidth - filled, QLatin1Char(' ')))
                          .arg(state.done)
                          .arg(state.total)
                          .arg(state.failed)
                          .arg(TimeLeft(state))};
    for (const Running& work : state.running) {
        const QString percent = QStringLiteral("  %1% ").arg(work.percent, 3);
        QString name = QFileInfo(work.input).fileName();
        const int room = width - percent.size();
        // The end of a long name tells files apart better than its start.
        if (name.size() > room && room > 1)
            name = QChar(0x2026) + name.right(room - 1);
        lines.append(percent + name);
    }
    for (QString& line : lines)
        line.truncate(width);
    return lines;
}
