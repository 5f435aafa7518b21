#pragma once
// What a batch shows while it runs: on a terminal a block of lines redrawn in place
// (one overall bar, one line per running work), elsewhere one plain line per event.

#include <QString>
#include <QStringList>
#include <QVector>

class CBatchProgress
{
public:
    struct Running
    {
        QString input;
        int percent = 0;
    };
    struct State
    {
        int total = 0;    // inputs of the batch
        int done = 0;     // ended, skipped ones included
        int failed = 0;
        int ranDone = 0;  // ended in this run
        int toRun = 0;    // to run in this run (not skipped)
        qint64 elapsedMs = 0;
        QVector<Running> running;
    };

    // The block: the bar line, then one line per running work, each at most width characters.
    static QStringList Block(const State& state, int width);
    // "m:ss" left at the pace so far (runs in parallel included), "--:--" before the first end.
    static QString TimeLeft(const State& state);
};
