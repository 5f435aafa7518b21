#pragma once
// The command-line host's side of the library: it owns the callback, renders progress
// and log lines on stderr, and runs one work to its finished map.

#include "CWorkLib.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

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
    // Ctrl-C was pressed since Start.
    static bool Interrupted();

    // The library's warning and error lines since this host was made, to explain a
    // failure that an operation reports only as false.
    static QStringList Problems();

private:
    static void Callback(WorkLibRs kind, const QVariant& value);

    CWorkLib* m_pLib;
    // The handlers of SIGINT, SIGTERM and SIGHUP before a run.
    void (*m_previous[3])(int) = {nullptr, nullptr, nullptr};
};
