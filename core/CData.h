#pragma once
// The process-wide hub: keeps the host callback and start-up values, relays every
// message to the host, owns the face library connection and the one-second tick.

#include "core/CWorkLib.h"
#include "core/CZrFaceLoader.h"

#include <QObject>
#include <QReadWriteLock>
#include <QTimer>
#include <QVariant>
#include <QVariantMap>
#include <atomic>
#include <vector>

class CObjLibImp;
class DownThread;

namespace WorkBaseData {

class CData : public QObject
{
    Q_OBJECT
public:
    static CData* GetInstance();
    // The hub if it has been constructed, else null; never constructs it. The log
    // writer and the face library use this, since the hub logs from its own constructor.
    static CData* Peek();

    bool Init(void (*callback)(WorkLibRs, const QVariant&), const QVariant& appInfo);
    CObjLibImp* GetWorkLib() const { return m_pWorkLib; }
    // Calls the host callback on the calling thread; false when none is set.
    bool Notify(int kind, const QVariant& value);
    // The interval table {1, 3, 6, 10, 20, 40, 100}; 1 outside it.
    int GetStep(int index) const;
    zrface::ZrFaceLib* GetFaceLib() const { return m_pFaceLib; }
    void Release(bool doRelease);

    // The handler given to the face library: its "log" texts reach the host as kind 1.
    static void OnFaceMessage(zrface::ZrFaceRs kind, const zrface::ZrVarient& value);

    // The one-second tick the contract keeps (hosts see it through sgTimerUpdate).
    int GetTickCount() const { return m_nTick; }
    bool IsTimerActive() const { return m_pTimer->isActive(); }

Q_SIGNALS:
    void sgTimerUpdate(int index);

public Q_SLOTS:
    void onUpdateTimer();
    void onDownFinish(DownThread* pDown);

private:
    CData();
    ~CData() override;

    int m_nTick;
    QTimer* m_pTimer;
    QVariant m_vAppInfo;
    // The host contract's reserved lock and map: kept for hosts of the same layout, unused here.
    QReadWriteLock m_lock;
    QVariantMap m_map;
    CObjLibImp* m_pWorkLib;
    std::atomic<void (*)(WorkLibRs, const QVariant&)> m_pCallback;
    zrface::ZrFaceLib* m_pFaceLib;
    std::vector<int> m_vSteps;
    CZrFaceLoader m_faceLoader;
};

} // namespace WorkBaseData
