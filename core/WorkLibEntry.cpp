// The two exported entry points of the library.

#include "core/CData.h"
#include "core/CObjLibImp.h"

CWorkLib* CreateWorkLib(void (*callback)(WorkLibRs, const QVariant&), const QVariant& appInfo)
{
    WorkBaseData::CData* hub = WorkBaseData::CData::GetInstance();
    hub->Init(callback, appInfo);
    return hub->GetWorkLib();
}

void ReleaseWorkLib(CWorkLib* lib)
{
    Q_UNUSED(lib); // the hub knows its one library object
    WorkBaseData::CData::GetInstance()->Release(true);
}
