// Stand-in for the closed face library, built from our own declarations. Its release
// logs through the callback it was started with, so a test sees both calls arrive.

#include "core/ZrFace.h"

namespace zrface {

class ZrFaceLib
{
public:
    ZrFaceCallback callback;
};

ZrFaceLib* InitZrFaceLib(ZrFaceCallback callback, const ZrVarient&)
{
    return new ZrFaceLib{callback};
}

void ReleaseZrFaceLib(ZrFaceLib* lib)
{
    if (!lib)
        return;
    ZrVarient message;
    message.texts["log"] = "standin released";
    lib->callback(ZrFaceRs_Log, message);
    delete lib;
}

} // namespace zrface
