#pragma once
// Shared body of every work: the CDetWork operations, the common state and the
// thread frame that runs DoWork() and sends the finished map exactly once per run.

#include "work/CDetWork.h"

#include <QReadWriteLock>
#include <QThread>
#include <QVariantMap>
#include <atomic>
#include <vector>

class CWorkBase : public QThread, public CDetWork
{
    Q_OBJECT
public:
    explicit CWorkBase(int type);
    ~CWorkBase() override;

    bool SetValue(const QString& key, const QVariant& value) override;
    const QVariant& GetValue(const QString& key, const QVariant& defaultValue) override;
    int GetType() override;
    bool QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply) override;
    bool SetParams(const QVariantMap& params) override;
    bool StartWork() override;
    bool StopWork() override;
    bool JoinWork(unsigned long msecs) override;
    bool IsFinished() override;
    bool IsWorking() override;
    bool AddObserver(void* observer) override;
    bool RemoveObserver(void* observer) override;

    // For a release while the run goes on: logs, clears the working flag and waits for
    // the thread, so nothing is destroyed under it. False (and nothing done) when called
    // on the work's own thread, which cannot wait for itself.
    bool StopBeforeRelease();

    // Copies for tests and hosts that poll; safe once the run has ended.
    QVariantMap Params() const { return m_mapParams; }
    QVariantMap Result() const { return m_mapResult; }

protected:
    // The work itself, on the work's thread. It fills m_mapResult; "resMsg" is ""
    // when it is called and stays so on success.
    virtual void DoWork() = 0;
    // The "resMsg" for an "sFile" that is a FIFO, device or socket, which the run refuses
    // before DoWork (a tool reading one would wait for good); null refuses it without a
    // word, for works whose failures leave "resMsg" empty.
    virtual const char* StreamInputWord() const { return "read_input_failed"; }

    // Sends a progress map (kind 2) with the parameter map as "user_data".
    void NotifyProgress(int pos, int max = 100);
    // Sets "resMsg" and logs the failure at the Warn level under "<class>::DoWork".
    void Fail(const char* resMsg);
    // "<class>::<function>" for log lines.
    QByteArray FuncName(const char* function) const;

    void run() override;

    std::atomic<bool> m_bWorking;
    QReadWriteLock m_valueLock;
    QVariantMap m_mapValues;
    std::vector<void*> m_vObservers;
    QVariantMap m_mapParams;
    QVariantMap m_mapResult;

private:
    const int m_nType;
    // Set by JoinWork just before it terminates the thread, reset by StartWork.
    std::atomic<bool> m_bTerminating;
};
