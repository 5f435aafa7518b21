// Stand-in for the closed face library, built from our own declarations so the
// loader and the hub's face path can be exercised without the real one.

#include "core/ZrFace.h"

namespace zrface {

// Keeps the callback so that release can be reported through it.
class ZrFaceLib
{
public:
    explicit ZrFaceLib(ZrFaceCallback cb) : callback(cb) {}
    ZrFaceCallback callback;
};

namespace {

void Say(ZrFaceCallback callback, const char* text)
{
    if (!callback)
        return;
    ZrVarient message;
    message.texts["log"] = text;
    callback(ZrFaceRs_Log, message);
}

} // namespace

ZrFaceLib* InitZrFaceLib(ZrFaceCallback callback, const ZrVarient& args)
{
    (void)args;
    Say(callback, "standin ready");
    return new ZrFaceLib(callback);
}

void ReleaseZrFaceLib(ZrFaceLib* lib)
{
    if (!lib)
        return;
    Say(lib->callback, "standin released");
    delete lib;
}

} // namespace zrface
