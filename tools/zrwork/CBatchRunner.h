#pragma once
// Runs one FILE command over many inputs: several works at once through the library,
// results in the order of the inputs, a journal to resume from, progress or events,
// and a summary at the end.

#include "CBatchJournal.h"
#include "CBatchOptions.h"
#include "CBatchProgress.h"
#include "CBatchSummary.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QVariantMap>
#include <QVector>

#include <functional>
#include <memory>

class CCliHost;
class CDetWork;

class CBatchRunner
{
public:
    // Fills one input's parameters ("sFile" is set already).
    using Prepare = std::function<void(QVariantMap&)>;

    CBatchRunner(CCliHost& host, int type, const QString& verb, const QVariantMap& params, const CBatchOptions& options,
                 Prepare prepare);
    ~CBatchRunner();
    CBatchRunner(const CBatchRunner&) = delete;
    CBatchRunner& operator=(const CBatchRunner&) = delete;

    // Returns the exit status: 0 when every input succeeded (or had before), 1 when one
    // did not, 2 when the batch could not start.
    int Run();

private:
    enum class State { Waiting, Skipped, Running, Ended, NotStarted };
    struct Slot
    {
        QString input;
        CBatchJournal::Key key;
        State state = State::Waiting;
        CDetWork* work = nullptr;
        QElapsedTimer clock;
        int percent = 0;
        bool ended = false; // its thread is done: the finished map, if any, has come
        CBatchJournal::Entry entry;
    };
    struct Message
    {
        int kind;
        QVariantMap map;
    };

    bool LoadInputs(QString* error);
    void Start(int index);
    void Drain();
    void Finish(int index);
    void StopAll();
    void PrintReady();
    void Say(const QByteArray& line, bool toStdout = false);
    void Draw(bool force);
    void Erase();
    int Report();

    CCliHost& m_host;
    const int m_nType;
    const QString m_sVerb;
    const QVariantMap m_params;
    const CBatchOptions m_options;
    const Prepare m_prepare;

    QVector<Slot> m_slots;
    std::unique_ptr<CBatchJournal> m_journal;
    int m_nJobs = 1;
    int m_nNext = 0;     // the next input to start
    int m_nPrinted = 0;  // inputs whose result is printed, in order
    int m_nRunning = 0;
    int m_nToRun = 0;
    bool m_bDraining = false;
    bool m_bStopping = false;
    bool m_bJournalLost = false;
    const bool m_bTerminal;
    int m_nDrawn = 0;    // lines of the progress block on the terminal now
    qint64 m_nLastDraw = 0;
    QElapsedTimer m_clock;

    QMutex m_lock;
    QVector<Message> m_queue;
};
