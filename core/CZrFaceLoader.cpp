#include "core/CZrFaceLoader.h"

#include "base/PubUtils.h"

#include <QDir>
#include <QFileInfo>

namespace {

// The entry points are C++ functions, so they are resolved by their decorated names.
#if defined(_MSC_VER)
const char kInitName[] = "?InitZrFaceLib@zrface@@YAPEAVZrFaceLib@1@P6AXW4ZrFaceRs@1@AEBUZrVarient@1@@Z1@Z";
const char kReleaseName[] = "?ReleaseZrFaceLib@zrface@@YAXPEAVZrFaceLib@1@@Z";
#else
const char kInitName[] = "_ZN6zrface13InitZrFaceLibEPFvNS_8ZrFaceRsERKNS_9ZrVarientEES3_";
const char kReleaseName[] = "_ZN6zrface16ReleaseZrFaceLibEPNS_9ZrFaceLibE";
#endif

} // namespace

CZrFaceLoader::CZrFaceLoader(const QString& dir)
{
    const QString folder = dir.isEmpty() ? WorkBaseData::PubUtils::GetAppDir() : dir;
    m_lib.setFileName(QDir(folder).absoluteFilePath(LibraryFileName()));
}

QString CZrFaceLoader::LibraryFileName()
{
#if defined(Q_OS_WIN)
    return QStringLiteral("zrfacelib.dll");
#elif defined(Q_OS_MACOS)
    return QStringLiteral("libzrfacelib.dylib");
#else
    return QStringLiteral("libzrfacelib.so");
#endif
}

bool CZrFaceLoader::Load()
{
    if (m_pInit && m_pRelease)
        return true;
    // A missing file is the normal case on machines without the face library.
    if (!QFileInfo::exists(m_lib.fileName()) || !m_lib.load())
        return false;
    m_pInit = reinterpret_cast<decltype(m_pInit)>(m_lib.resolve(kInitName));
    m_pRelease = reinterpret_cast<decltype(m_pRelease)>(m_lib.resolve(kReleaseName));
    return m_pInit && m_pRelease;
}

zrface::ZrFaceLib* CZrFaceLoader::Init(zrface::ZrFaceCallback callback, const zrface::ZrVarient& args)
{
    if (!Load())
        return nullptr;
    return m_pInit(callback, args);
}

void CZrFaceLoader::Release(zrface::ZrFaceLib* lib)
{
    if (lib && m_pRelease)
        m_pRelease(lib);
}
