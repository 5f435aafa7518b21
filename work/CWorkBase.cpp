#include "work/CWorkBase.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "base/CHostLink.h"
#include "work/CUrlInput.h"
#include "work/CProcessWork.h"

#include <QDir>

#include <algorithm>
#include <exception>

using WorkBaseData::PubUtils;

CWorkBase::CWorkBase(int type, const Guards& guards)
    : m_bWorking(false)
    , m_nType(type)
    , m_guards(guards)
    , m_bTerminating(false)
{
}

CWorkBase::~CWorkBase()
{
    // Last resort for a host that deletes a running work itself; ReleaseWork has
    // already waited before any derived part was destroyed.
    StopBeforeRelease();
}

bool CWorkBase::StopBeforeRelease()
{
    if (!isRunning())
        return true;
    if (QThread::currentThread() == this) {
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("ReleaseWork").constData(), "release from the work's own thread refused");
        return false;
    }
    ZRLOG(WorkBaseData::LOG_WARN, FuncName("ReleaseWork").constData(), "released while running: stopping and waiting");
    m_bWorking = false;
    wait();
    return true;
}

bool CWorkBase::SetValue(const QString& key, const QVariant& value)
{
    QWriteLocker locker(&m_valueLock);
    if (key.startsWith(QLatin1String("user_")) || key == QLatin1String("test"))
        m_mapValues.insert(key, value);
    return m_mapValues.contains(key);
}

const QVariant& CWorkBase::GetValue(const QString& key, const QVariant& defaultValue)
{
    // The reference outlives the lock by design: callers copy it at once.
    QWriteLocker locker(&m_valueLock);
    const auto it = m_mapValues.constFind(key);
    return it == m_mapValues.constEnd() ? defaultValue : it.value();
}

int CWorkBase::GetType()
{
    return m_nType;
}

bool CWorkBase::QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply)
{
    Q_UNUSED(args);
    Q_UNUSED(reply);
    return false;
}

bool CWorkBase::SetParams(const QVariantMap& params)
{
    if (!m_mapParams.isSharedWith(params))
        m_mapParams = params;
    return true;
}

bool CWorkBase::StartWork()
{
    // While a stopped run is still ending, a start would only cancel the stop: the
    // thread cannot start again until it has finished.
    if (m_bWorking || isRunning())
        return true;
    m_bWorking = true;
    m_bTerminating = false;
    start(QThread::InheritPriority);
    return true;
}

bool CWorkBase::StopWork()
{
    m_bWorking = false;
    return true;
}

bool CWorkBase::JoinWork(unsigned long msecs)
{
    if (!isRunning())
        return true;
    // Inside the finished callback, say: waiting would only time out on ourselves and
    // then terminate the very thread that asked.
    if (QThread::currentThread() == this) {
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("JoinWork").constData(), "join from the work's own thread ignored");
        return true;
    }
    if (!wait(msecs)) {
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("JoinWork").constData(), "thread time out %d. terminate",
              static_cast<int>(msecs));
        m_bTerminating = true;
        terminate();
        wait();
    }
    return true;
}

bool CWorkBase::IsFinished()
{
    return isFinished();
}

bool CWorkBase::IsWorking()
{
    return m_bWorking;
}

bool CWorkBase::AddObserver(void* observer)
{
    if (std::find(m_vObservers.begin(), m_vObservers.end(), observer) == m_vObservers.end())
        m_vObservers.push_back(observer);
    return true;
}

bool CWorkBase::RemoveObserver(void* observer)
{
    const auto it = std::find(m_vObservers.begin(), m_vObservers.end(), observer);
    if (it == m_vObservers.end())
        return false;
    m_vObservers.erase(it);
    return true;
}

bool CWorkBase::SetNormalisedParams(const QVariantMap& params, Normaliser normalise)
{
    if (m_mapParams.isSharedWith(params))
        return true;
    bool ok = true;
    m_mapParams = normalise(params, GetType(), &ok);
    return ok;
}

void CWorkBase::NotifyProgress(int pos, int max)
{
    QVariantMap progress;
    progress.insert(QStringLiteral("user_data"), m_mapParams);
    progress.insert(QStringLiteral("nPos"), pos);
    progress.insert(QStringLiteral("nMax"), max);
    WorkBaseData::CHostLink::Send(WorkBaseData::CHostLink::Progress, progress);
}

void CWorkBase::Fail(const char* resMsg)
{
    if (!m_guards.bSilent)
        m_mapResult.insert(QStringLiteral("resMsg"), QString::fromLatin1(resMsg));
    ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "%s", resMsg);
}

QByteArray CWorkBase::FuncName(const char* function) const
{
    return QByteArray(metaObject()->className()) + "::" + function;
}

bool CWorkBase::CheckGuards()
{
    // An http(s) "sFile" is fetched into the download cache first; the checks below see the copy.
    const bool fetched = CUrlInput::Prepare(m_mapParams, m_mapResult, m_bWorking, FuncName("DoWork"));
    const QString sFile = m_mapParams.value(QStringLiteral("sFile")).toString();
    const bool device = m_guards.bDeviceInput && PubUtils::IsCaptureDeviceName(sFile);
    m_sInputFile = device ? sFile : PubUtils::AbsolutePath(sFile);
    m_sSaveDir = PubUtils::AbsolutePath(m_mapParams.value(QStringLiteral("sSaveDir")).toString());
    const bool badInput = !fetched
        || (!device && (m_guards.bCheckInput ? !PubUtils::IsUsableInput(m_sInputFile) : PubUtils::IsStreamFile(m_sInputFile)));
    if (badInput) {
        if (const char* word = InputWord())
            Fail(word);
        else
            ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "input refused %s",
                  m_sInputFile.toUtf8().constData());
        return false;
    }
    if (m_guards.bNeedSaveDir && (m_sSaveDir.isEmpty() || (m_guards.bMakeSaveDir && !QDir().mkpath(m_sSaveDir)))) {
        Fail("save_dir_failed");
        return false;
    }
    return true;
}

void CWorkBase::run()
{
    // Each run reports only its own results.
    m_mapResult.clear();
    m_mapResult.insert(QStringLiteral("resMsg"), QString());
    // A stop ends the tool the work is waiting for, not only the work's own loop.
    const CProcessWork::StopScope stopScope(m_bWorking);
    // Whatever DoWork does, the host gets exactly one finished map for this run.
    try {
        if (CheckGuards())
            DoWork();
    } catch (const std::exception& e) {
        ZRLOG(WorkBaseData::LOG_ERROR, FuncName("run").constData(), "work threw %s", e.what());
        m_mapResult.insert(QStringLiteral("resMsg"), QStringLiteral("task_failed"));
    } catch (...) {
        // JoinWork's terminate() cancels the thread by unwinding it (glibc): that unwind
        // must go on. Told apart by the flag, since binding the unwind to a typed catch
        // binds a reference to no object at all.
        if (m_bTerminating)
            throw;
        ZRLOG(WorkBaseData::LOG_ERROR, FuncName("run").constData(), "work threw");
        m_mapResult.insert(QStringLiteral("resMsg"), QStringLiteral("task_failed"));
    }
    QVariantMap finished;
    finished.insert(QStringLiteral("user_data"), m_mapParams);
    finished.insert(QStringLiteral("nPos"), 100);
    finished.insert(QStringLiteral("nMax"), 100);
    finished.insert(QStringLiteral("res_data"), m_mapResult);
    WorkBaseData::CHostLink::Send(WorkBaseData::CHostLink::Finished, finished);
}
