#pragma once
// The command-line host's side of the library: it owns the callback, renders progress
// and log lines on stderr, runs one work to its finished map, and hands the messages of
// several works to a sink when a batch runs them.

#include "CWorkLib.h"

#include <functional>

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

class CCliHost
{
public:
    CCliHost(bool verbose, const QString& appData);
    ~CCliHost();
    CCliHost(const CCliHost&) = delete;
    CCliHost& operator=(const CCliHost&) = delete;

    CWorkLib* Lib() const { return m_pLib; }

    // Creates, starts and joins one work; Ctrl-C, SIGTERM and SIGHUP stop it. Returns the process exit
    // status: 0 when "resMsg" is empty, 1 when it names a failure, 2 when no work of
    // that type exists. *finished receives the finished map.
    int RunWork(int type, const QVariantMap& params, QVariantMap* finished);

    // RunWork in two halves, for hosts that keep their own loop meanwhile: Start creates
    // and starts the work (null when no work of that type exists) and catches Ctrl-C;
    // Finish stops, joins and releases it and gives RunWork's exit status.
    CDetWork* Start(int type, const QVariantMap& params);
    int Finish(CDetWork* work, QVariantMap* finished);
    // Ctrl-C (or SIGTERM, SIGHUP) came since Start.
    static bool Interrupted();
    // Receives every message instead of the one-work rendering while set; called on
    // the works' threads, so it must be thread-safe. An empty sink restores the rendering.
    using Sink = std::function<void(WorkLibRs, const QVariantMap&)>;
    static void SetSink(Sink sink);
    static bool Verbose();
    // Progress is redrawn in place only on a terminal; elsewhere it goes out as plain lines.
    static bool StderrIsTerminal();

    // Counts SIGINT, SIGTERM and SIGHUP while it lives (a third one ends the process at
    // once); the previous handlers come back when it goes.
    class Interrupts
    {
    public:
        Interrupts();
        ~Interrupts();
        Interrupts(const Interrupts&) = delete;
        Interrupts& operator=(const Interrupts&) = delete;
        static int Count();

    private:
        using Handler = void (*)(int);
        Handler m_previous[3];
    };

    // The library's warning and error lines since this host was made, to explain a
    // failure that an operation reports only as false.
    static QStringList Problems();

private:
    static void Callback(WorkLibRs kind, const QVariant& value);

    CWorkLib* m_pLib;
    // Counts the signals between Start and Finish.
    std::unique_ptr<Interrupts> m_pInterrupts;
};
