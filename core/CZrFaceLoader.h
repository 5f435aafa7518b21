#pragma once
// Finds the closed face library beside the application and resolves its two entry
// points. The library is optional: on a machine without it both calls are no-ops.

#include "core/ZrFace.h"

#include <QLibrary>
#include <QString>

class CZrFaceLoader
{
public:
    // Looks for zrfacelib in dir (the application folder by default).
    explicit CZrFaceLoader(const QString& dir = QString());

    // Null when the library is absent or its entry point is missing.
    zrface::ZrFaceLib* Init(zrface::ZrFaceCallback callback, const zrface::ZrVarient& args);
    void Release(zrface::ZrFaceLib* lib);

    // The file name the loader looks for ("zrfacelib.dll", "libzrfacelib.so").
    static QString LibraryFileName();

private:
    bool Load();

    QLibrary m_lib;
    decltype(&zrface::InitZrFaceLib) m_pInit = nullptr;
    decltype(&zrface::ReleaseZrFaceLib) m_pRelease = nullptr;
};
