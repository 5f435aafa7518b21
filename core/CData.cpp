#include "core/CData.h"

#include "base/CCurlLocker.h"
#include "base/CHostLink.h"
#include "base/CLogWriter.h"
#include "base/DownThread.h"
#include "base/PubUtils.h"
#include "core/CObjLibImp.h"

namespace WorkBaseData {

namespace {

std::atomic<CData*> g_pHub{nullptr};

} // namespace

// Face library messages reach the host exactly like the library's own log lines;
// a message without a "log" text is forwarded with an empty one.
void CData::OnFaceMessage(zrface::ZrFaceRs kind, const zrface::ZrVarient& value)
{
    Q_UNUSED(kind);
    const auto it = value.texts.find("log");
    const QString text = it == value.texts.end() ? QString() : QString::fromStdString(it->second);
    QVariantMap line;
    line.insert(QStringLiteral("log"), text);
    // Peek, not GetInstance: the face library may call back while the hub is being built.
    if (CData* hub = CData::Peek())
        hub->Notify(WorkLibRs_Log, line);
}

CData* CData::GetInstance()
{
    // Never deleted: the hub must outlive every work thread and Qt's own teardown.
    static CData* hub = new CData;
    return hub;
}

CData* CData::Peek()
{
    return g_pHub.load();
}

CData::CData()
    : m_nTick(0)
    , m_pTimer(nullptr)
    , m_pWorkLib(nullptr)
    , m_pCallback(nullptr)
    , m_pFaceLib(nullptr)
{
    g_pHub = this;
    m_pTimer = new QTimer(this);
    connect(m_pTimer, &QTimer::timeout, this, &CData::onUpdateTimer);
    m_pTimer->setTimerType(Qt::PreciseTimer);
    m_pTimer->start(1000);

    m_vSteps = {1, 3, 6, 10, 20, 40, 100};
    // Finished downloads come back here to be deleted on the hub's thread.
    DownThread::SetHub(this);
    // The works and the log writer below reach the host through this link only.
    CHostLink::Install([](int kind, const QVariant& value) { return Peek()->Notify(kind, value); }, m_vSteps);

    m_pFaceLib = m_faceLoader.Init(&OnFaceMessage, zrface::ZrVarient());
    if (!m_pFaceLib)
        ZRLOG(LOG_WARN, "WorkBaseData::CData::CData", "init zrface failed");
}

CData::~CData() = default;

bool CData::Init(void (*callback)(WorkLibRs, const QVariant&), const QVariant& appInfo)
{
    m_vAppInfo = appInfo;
    const QVariantMap info = appInfo.toMap();
    PubUtils::SetDataDir(info.value(QStringLiteral("appData")).toString());
    m_pCallback = callback;
    CCurlLocker::Install(reinterpret_cast<QMutex*>(
        static_cast<quintptr>(info.value(QStringLiteral("curlLocker")).toLongLong())));
    // An earlier library object is left alive on purpose: the host may still hold it.
    m_pWorkLib = new CObjLibImp;
    return true;
}

bool CData::Notify(int kind, const QVariant& value)
{
    auto callback = m_pCallback.load();
    if (!callback)
        return false;
    callback(static_cast<WorkLibRs>(kind), value);
    return true;
}

int CData::GetStep(int index) const
{
    if (index < 0 || index >= static_cast<int>(m_vSteps.size()))
        return 1;
    return m_vSteps[static_cast<size_t>(index)];
}

void CData::Release(bool doRelease)
{
    if (!doRelease)
        return;
    m_faceLoader.Release(m_pFaceLib);
    m_pFaceLib = nullptr;
    m_pCallback = nullptr;
    if (m_pTimer->isActive())
        m_pTimer->stop();
}

void CData::onUpdateTimer()
{
    ++m_nTick;
    Q_EMIT sgTimerUpdate(m_nTick);
}

void CData::onDownFinish(DownThread* pDown)
{
    if (pDown)
        pDown->deleteLater();
}

} // namespace WorkBaseData
