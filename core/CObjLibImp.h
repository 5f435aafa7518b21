#pragma once
// The library object handed to the host: the work factory and the doors to the
// utilities and the store.

#include "core/CWorkLib.h"

#include <QObject>
#include <vector>

class CObjLibImp : public QObject, public CWorkLib
{
    Q_OBJECT
public:
    CObjLibImp();
    ~CObjLibImp() override;

    void EnumDevices(std::function<bool(const QString&)> visitor) override;
    CDetWork* CreateWork(int type) override;
    bool ReleaseWork(CDetWork* work) override;
    bool MarkModeFile(QString src, QString dst) override;
    bool UnmarkModeFile(QString src, QString dst) override;
    bool InitModelStore(QString dir) override;
    bool IsReady() override;
    bool ListVideoFiles(const QString& model, qint64 offset, qint64 count, qint64* total,
                        std::function<bool(const QVariantMap&)> visitor) override;

    // The work list as it stands, null entries included (for tests).
    const std::vector<CDetWork*>& Works() const { return m_vWorks; }

public Q_SLOTS:
    void onTimerUpdate(int index);

private:
    std::vector<CDetWork*> m_vWorks;
};
