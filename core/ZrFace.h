#pragma once
// Our declaration of the interface of the maker's closed face library zrfacelib.
// The library is optional: CZrFaceLoader looks for it beside the application at
// run time and everything else copes with its absence.

#include <cstdint>
#include <map>
#include <string>

namespace zrface {

// Kinds of message the face library sends to its callback.
enum ZrFaceRs
{
    ZrFaceRs_Log = 1,
    ZrFaceRs_Result = 2
};

// The face library's variant: named texts and named numbers. A "log" message
// carries its line in texts["log"].
struct ZrVarient
{
    std::map<std::string, std::string> texts;
    std::map<std::string, std::int64_t> numbers;
};

// Opaque object handed out by InitZrFaceLib; only the face works call into it.
class ZrFaceLib;

typedef void (*ZrFaceCallback)(ZrFaceRs kind, const ZrVarient& value);

ZrFaceLib* InitZrFaceLib(ZrFaceCallback callback, const ZrVarient& args);
void ReleaseZrFaceLib(ZrFaceLib* lib);

} // namespace zrface
