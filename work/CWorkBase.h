#pragma once
// Shared body of every work: the CDetWork operations, the common state and the
// thread frame that runs DoWork() and sends the finished map exactly once per run.

#include "work/CDetWork.h"

#include <QReadWriteLock>
#include <QThread>
#include <QVariantMap>
#include <atomic>
#include <vector>

// What the run checks before DoWork, and which words the work gives for it.
struct WorkGuards
{
    // Said of an "sFile" that is missing, empty, unreadable, a folder or a stream;
    // null refuses it without a word.
    const char* sInputWord = "read_input_failed";
    // false: only streams are refused up front (the work's own tools judge the rest).
    bool bCheckInput = true;
    // "sFile" may also name a capture device (PubUtils::IsCaptureDeviceName), which the
    // work receives as given, unchecked.
    bool bDeviceInput = false;
    // "sSaveDir" must be given ("save_dir_failed" otherwise): an empty one would put
    // results at the root of the file system.
    bool bNeedSaveDir = true;
    // ...and is made here; false for works that make their own result folder.
    bool bMakeSaveDir = true;
    // Failures are only logged and "resMsg" stays empty: hosts read a missing
    // output as the failure.
    bool bSilent = false;
};

class CWorkBase : public QThread, public CDetWork
{
    Q_OBJECT
public:
    using Guards = WorkGuards;

    explicit CWorkBase(int type, const Guards& guards = Guards());
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
    // The word for a bad input; by default the guards' own. A stream input (FIFO, device,
    // socket) is always refused: a tool reading one would wait for good.
    virtual const char* InputWord() const { return m_guards.sInputWord; }

    // "sFile" and "sSaveDir" made absolute (tools get no relative path that starts with
    // '-' or means another file in their own folder), set before DoWork.
    const QString& InputFile() const { return m_sInputFile; }
    const QString& SaveDir() const { return m_sSaveDir; }

    // The SetParams body of the works that normalise their parameters: the parameter map
    // becomes normalise's copy of params (nothing happens when it is that map already);
    // false when a value had the wrong type or was out of range.
    using Normaliser = QVariantMap (*)(const QVariantMap& params, int type, bool* ok);
    bool SetNormalisedParams(const QVariantMap& params, Normaliser normalise);

    // Sends a progress map (kind 2) with the parameter map as "user_data".
    void NotifyProgress(int pos, int max = 100);
    // Sets "resMsg" (unless the work is silent) and logs the failure at the Warn level
    // under "<class>::DoWork".
    void Fail(const char* resMsg);
    // "<class>::<function>" for log lines.
    QByteArray FuncName(const char* function) const;

    void run() override;

    std::atomic<bool> m_bWorking;
    QReadWriteLock m_valueLock;
    QVariantMap m_mapValues;
    // Kept for the contract's observer calls; no work notifies observers.
    std::vector<void*> m_vObservers;
    QVariantMap m_mapParams;
    QVariantMap m_mapResult;

private:
    // The guards' checks; false (with the failure reported) when DoWork must not run.
    bool CheckGuards();

    const int m_nType;
    const Guards m_guards;
    QString m_sInputFile;
    QString m_sSaveDir;
    // Set by JoinWork just before it terminates the thread, reset by StartWork.
    std::atomic<bool> m_bTerminating;
};
