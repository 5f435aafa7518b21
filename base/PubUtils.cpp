#include "base/PubUtils.h"

#include "base/CLogWriter.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QRegularExpression>
#include <QSaveFile>
#include <QScopeGuard>
#include <QVector>
#include <QtEndian>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>

#if defined(Q_OS_WIN)
#include <windows.h>
#include <dshow.h>
#include <oleauto.h>
#elif defined(Q_OS_LINUX)
#include <cerrno>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace WorkBaseData {

namespace {

constexpr qint64 kSampleFrom = 5242880;
constexpr qint64 kSampleSize = 524288;

constexpr char kModeMagic[6] = {'z', 'r', 'm', 'o', 'd', 'e'};
constexpr int kModeHeaderSize = 32;
constexpr quint8 kModeVersion = 1;
constexpr uchar kModeMask[16] = {0x5A, 0x52, 0x4D, 0x4F, 0x44, 0x45, 0x9C, 0x37,
                                 0xE1, 0x0B, 0x66, 0xD4, 0x2F, 0x81, 0xB3, 0x78};
constexpr qint64 kCopyChunk = 1 << 20;

const char* const kRemoveDirFunc = "WorkBaseData::PubUtils::RemoveDir";

struct Settings
{
    QMutex lock;
    QString appDir;
    QString dataDir;
    QString saveDir;
};

Settings& settings()
{
    static Settings s;
    return s;
}

QString ReadSetting(QString Settings::*field)
{
    Settings& s = settings();
    QMutexLocker locker(&s.lock);
    return s.*field;
}

void WriteSetting(QString Settings::*field, const QString& value)
{
    Settings& s = settings();
    QMutexLocker locker(&s.lock);
    s.*field = value;
}

std::atomic<int> g_workCounter{0};

QString withSlash(const QString& dir)
{
    if (dir.endsWith(QLatin1Char('/')) || dir.endsWith(QLatin1Char('\\')))
        return dir;
    return dir + QLatin1Char('/');
}

// Hashes up to length bytes from offset through the caller's scratch block, one read
// per block. A file that shrank under us is hashed as far as it goes.
bool hashRange(QFile& file, qint64 offset, qint64 length, QByteArray& block, QCryptographicHash& md5)
{
    if (!file.seek(offset))
        return false;
    while (length > 0) {
        const qint64 n = file.read(block.data(), qMin<qint64>(length, block.size()));
        if (n < 0)
            return false;
        if (n == 0)
            break;
        md5.addData(block.constData(), static_cast<int>(n));
        length -= n;
    }
    return true;
}

struct ModeHeader
{
    quint64 length = 0;
    QByteArray md5;
};

QByteArray makeModeHeader(quint64 length, const QByteArray& md5)
{
    char header[kModeHeaderSize] = {};
    std::memcpy(header, kModeMagic, sizeof kModeMagic);
    header[6] = static_cast<char>(kModeVersion);
    qToLittleEndian<quint64>(length, header + 8);
    std::memcpy(header + 16, md5.constData(), static_cast<size_t>(qMin(md5.size(), 16)));
    return QByteArray(header, kModeHeaderSize);
}

// Reads the tag at the start of file; true only for a header that is valid for the
// file's actual size, so a truncated or extended file counts as untagged.
bool readModeHeader(QFile& file, ModeHeader* out)
{
    const qint64 size = file.size();
    if (size < kModeHeaderSize || !file.seek(0))
        return false;
    const QByteArray header = file.read(kModeHeaderSize);
    if (header.size() != kModeHeaderSize || std::memcmp(header.constData(), kModeMagic, sizeof kModeMagic) != 0
        || static_cast<quint8>(header[6]) != kModeVersion || header[7] != 0)
        return false;
    const quint64 length = qFromLittleEndian<quint64>(header.constData() + 8);
    if (length != static_cast<quint64>(size - kModeHeaderSize))
        return false;
    if (out) {
        out->length = length;
        out->md5 = header.mid(16, 16);
    }
    return true;
}

// Copies the rest of in to out through the mask; md5 covers the plain (unmasked) side.
// Returns the number of bytes copied, or -1 on a read or write error.
qint64 copyMasked(QFile& in, QSaveFile& out, QCryptographicHash& md5, bool plainInput)
{
    QByteArray block(kCopyChunk, Qt::Uninitialized);
    char* data = block.data();
    quint64 offset = 0;
    for (;;) {
        const qint64 n = in.read(data, kCopyChunk);
        if (n < 0)
            return -1;
        if (n == 0)
            return static_cast<qint64>(offset);
        if (plainInput)
            md5.addData(data, static_cast<int>(n));
        for (qint64 i = 0; i < n; ++i)
            data[i] = static_cast<char>(static_cast<uchar>(data[i]) ^ kModeMask[(offset + i) & 15]);
        if (!plainInput)
            md5.addData(data, static_cast<int>(n));
        if (out.write(data, n) != n)
            return -1;
        offset += static_cast<quint64>(n);
    }
}

#if defined(Q_OS_LINUX)
// Card name of a V4L2 node that can capture video; empty for anything else.
QString captureCardName(const QString& path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return QString();
    const auto closeFd = qScopeGuard([fd] { ::close(fd); });
    v4l2_capability cap;
    std::memset(&cap, 0, sizeof cap);
    int rc;
    do {
        rc = ::ioctl(fd, VIDIOC_QUERYCAP, &cap);
    } while (rc < 0 && errno == EINTR);
    if (rc < 0)
        return QString();
    // A driver exposing several nodes describes each node in device_caps; capabilities
    // then covers the whole device, metadata nodes included.
    const quint32 caps = (cap.capabilities & V4L2_CAP_DEVICE_CAPS) ? cap.device_caps : cap.capabilities;
    if (!(caps & V4L2_CAP_VIDEO_CAPTURE))
        return QString();
    const char* card = reinterpret_cast<const char*>(cap.card);
    return QString::fromUtf8(card, static_cast<int>(strnlen(card, sizeof cap.card)));
}
#endif

#if defined(Q_OS_WIN)
// {860BB310-5D01-11D0-BD3B-00A0C911CE86}: the video input device category.
const CLSID kVideoInputCategory = {0x860BB310, 0x5D01, 0x11D0, {0xBD, 0x3B, 0x00, 0xA0, 0xC9, 0x11, 0xCE, 0x86}};

QStringList enumComVideoDevices()
{
    QStringList names;
    // The host's thread normally has COM up already; RPC_E_CHANGED_MODE then just means
    // its apartment differs, and the enumeration still works.
    const HRESULT init = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const auto uninit = qScopeGuard([init] {
        if (SUCCEEDED(init))
            CoUninitialize();
    });

    ICreateDevEnum* devEnum = nullptr;
    if (FAILED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                                reinterpret_cast<void**>(&devEnum))))
        return names;
    const auto releaseDevEnum = qScopeGuard([devEnum] { devEnum->Release(); });

    IEnumMoniker* monikers = nullptr;
    // S_FALSE: the category exists but holds no device.
    if (devEnum->CreateClassEnumerator(kVideoInputCategory, &monikers, 0) != S_OK || !monikers)
        return names;
    const auto releaseMonikers = qScopeGuard([monikers] { monikers->Release(); });

    IMoniker* moniker = nullptr;
    while (monikers->Next(1, &moniker, nullptr) == S_OK) {
        const auto releaseMoniker = qScopeGuard([moniker] { moniker->Release(); });
        IPropertyBag* bag = nullptr;
        if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, reinterpret_cast<void**>(&bag))))
            continue;
        const auto releaseBag = qScopeGuard([bag] { bag->Release(); });
        VARIANT value;
        VariantInit(&value);
        const auto clearValue = qScopeGuard([&value] { VariantClear(&value); });
        if (SUCCEEDED(bag->Read(L"FriendlyName", &value, nullptr)) && value.vt == VT_BSTR)
            names.append(QString::fromWCharArray(value.bstrVal));
    }
    return names;
}
#endif

} // namespace

QString PubUtils::GetFileFingerprint(const QString& path)
{
    // Unbuffered: every block goes straight from the file into our scratch block.
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return QString();
    QCryptographicHash md5(QCryptographicHash::Md5);
    QByteArray block(kSampleSize, Qt::Uninitialized);
    const qint64 size = file.size();
    if (size >= kSampleFrom) {
        const qint64 step = size / 5;
        for (qint64 offset = 0, i = 0; i < 5; ++i, offset += step) {
            if (!hashRange(file, offset, kSampleSize, block, md5))
                return QString();
        }
        if (!hashRange(file, size - kSampleSize, kSampleSize, block, md5))
            return QString();
    } else if (!hashRange(file, 0, kSampleFrom, block, md5)) {
        return QString();
    }
    return QString::fromLatin1(md5.result().toHex().toUpper());
}

QString PubUtils::FormatSeconds(qint64 seconds, bool bHours, bool bFileName)
{
    const qint64 hours = seconds / 3600;
    const qint64 minutes = (seconds - hours * 3600) / 60;
    const qint64 secs = seconds % 60;
    QString text;
    if (hours == 0 && !bHours)
        text = QString::asprintf("%02lld:%02lld", static_cast<long long>(minutes), static_cast<long long>(secs));
    else
        text = QString::asprintf("%02lld:%02lld:%02lld", static_cast<long long>(hours),
                                 static_cast<long long>(minutes), static_cast<long long>(secs));
    if (bFileName)
        text.remove(QLatin1Char(':'));
    return text;
}

QString PubUtils::GetTempDir()
{
    const QString dir = GetDataDir() + QStringLiteral("/Temp");
    QDir().mkpath(dir);
    return dir;
}

bool PubUtils::RemoveDir(const QString& path)
{
    // An empty path would mean the current folder to QDir: never remove that.
    if (path.isEmpty())
        return true;
    const QFileInfo self(path);
    if (self.isSymLink())
        return QFile::remove(path);
    QDir dir(path);
    if (!dir.exists())
        return true;

    const QFileInfoList entries = dir.entryInfoList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::DirsFirst);
    for (const QFileInfo& entry : entries) {
        const QString full = entry.absoluteFilePath();
        // A link to a folder is removed like a file: following it would empty its target.
        if (entry.isDir() && !entry.isSymLink()) {
            if (!RemoveDir(full))
                return false;
            continue;
        }
        if (QFile::remove(full))
            continue;
        QFile::setPermissions(full, QFile::permissions(full) | QFileDevice::WriteOwner);
        if (!QFile::remove(full)) {
            ZRLOG(LOG_WARN, kRemoveDirFunc, "remove dir failed %s", full.toUtf8().constData());
            return false;
        }
    }
    if (!dir.rmdir(dir.absolutePath())) {
        ZRLOG(LOG_WARN, kRemoveDirFunc, "remove dir failed %s", path.toUtf8().constData());
        return false;
    }
    return true;
}

QString PubUtils::MakeUniqueFilePath(const QString& dir, const QString& base, const QString& ext, bool* pReserved)
{
    const QString d = withSlash(dir);
    const QString e = ext.startsWith(QLatin1Char('.')) ? ext : QLatin1Char('.') + ext;
    const auto name = [&](int n) { return n == 0 ? d + base + e : d + base + QLatin1Char('_') + QString::number(n) + e; };
    if (pReserved)
        *pReserved = false;
    // Stops at 99 on purpose: the base_99 name comes back even when it exists.
    for (int n = 0; n <= 99; ++n) {
        const QString path = name(n);
        if (QFileInfo::exists(path))
            continue;
        // Made exclusively, so a work choosing at the same moment moves on to the next name.
        QFile file(path);
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            if (pReserved)
                *pReserved = true;
            return path;
        }
        // Taken a moment ago by another work: try the next one. Otherwise the folder cannot
        // be written, and the free name comes back unreserved for the tool to fail on.
        if (!QFileInfo::exists(path))
            return path;
    }
    return name(99);
}

bool PubUtils::KeepOutput(const QString& path)
{
    if (IsUsableInput(path))
        return true;
    const QFileInfo info(path);
    if (!path.isEmpty() && info.isFile() && !info.isSymLink())
        QFile::remove(path);
    return false;
}

QString PubUtils::AbsolutePath(const QString& path)
{
    return path.isEmpty() ? path : QFileInfo(path).absoluteFilePath();
}

QString PubUtils::MakeTempWorkDir(const QString& dir)
{
    static QMutex lock;
    static qint64 runNumber = -1;
    static qint64 lastStamp = 0;
    qint64 stamp = 0;
    {
        QMutexLocker locker(&lock);
        stamp = QDateTime::currentMSecsSinceEpoch();
        if (runNumber < 0) {
            runNumber = 10000 + stamp % 10000;
            lastStamp = stamp;
        }
        if (stamp <= lastStamp)
            stamp = lastStamp + 1;
        // Every stamp handed out is remembered, not only a bumped one: otherwise a second
        // call within the millisecond of an unbumped one would get the same folder.
        lastStamp = stamp;
    }
    const QString path = withSlash(dir) + QStringLiteral("_temp") + QString::number(runNumber) + QLatin1Char('_')
        + QString::number(stamp);
    QDir().mkpath(path);
    return path;
}

QStringList PubUtils::EnumVideoDevices()
{
#if defined(Q_OS_WIN)
    return enumComVideoDevices();
#elif defined(Q_OS_LINUX)
    return EnumVideoDevicesIn(QStringLiteral("/dev"));
#else
    return QStringList();
#endif
}

#if defined(Q_OS_LINUX)
QStringList PubUtils::EnumVideoDevicesIn(const QString& devDir)
{
    QVector<QPair<int, QString>> nodes;
    const QFileInfoList entries =
        QDir(devDir).entryInfoList({QStringLiteral("video*")}, QDir::Files | QDir::System);
    for (const QFileInfo& entry : entries) {
        const QString number = entry.fileName().mid(5);
        const auto isDigit = [](QChar c) { return c.unicode() >= u'0' && c.unicode() <= u'9'; };
        const bool digits =
            !number.isEmpty() && number.size() <= 9 && std::all_of(number.begin(), number.end(), isDigit);
        if (digits)
            nodes.append(qMakePair(number.toInt(), entry.absoluteFilePath()));
    }
    // Name order would put video10 before video2.
    std::sort(nodes.begin(), nodes.end(), [](const auto& a, const auto& b) { return a.first < b.first; });

    QStringList names;
    for (const auto& node : nodes) {
        const QString name = captureCardName(node.second);
        if (!name.isEmpty())
            names.append(name);
    }
    return names;
}
#endif

bool PubUtils::MarkModeFile(const QString& src, const QString& dst)
{
    QFile in(src);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    if (readModeHeader(in, nullptr) || !in.seek(0))
        return false;
    // QSaveFile writes beside dst and renames on commit; leaving early discards it.
    QSaveFile out(dst);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    // The length and checksum are known only at the end: reserve the header, fill it last.
    if (out.write(QByteArray(kModeHeaderSize, '\0')) != kModeHeaderSize)
        return false;
    QCryptographicHash md5(QCryptographicHash::Md5);
    const qint64 length = copyMasked(in, out, md5, true);
    if (length < 0 || !out.seek(0))
        return false;
    if (out.write(makeModeHeader(static_cast<quint64>(length), md5.result())) != kModeHeaderSize)
        return false;
    return out.commit();
}

bool PubUtils::UnmarkModeFile(const QString& src, const QString& dst)
{
    QFile in(src);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    ModeHeader header;
    if (!readModeHeader(in, &header))
        return false;
    QSaveFile out(dst);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    QCryptographicHash md5(QCryptographicHash::Md5);
    const qint64 length = copyMasked(in, out, md5, false);
    if (length < 0 || static_cast<quint64>(length) != header.length || md5.result() != header.md5)
        return false;
    return out.commit();
}

QString PubUtils::GetAppDir()
{
    Settings& s = settings();
    QMutexLocker locker(&s.lock);
    if (s.appDir.isEmpty()) {
        if (QCoreApplication::instance())
            return QCoreApplication::applicationDirPath();
#if defined(Q_OS_LINUX)
        return QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).absolutePath();
#endif
    }
    return s.appDir;
}

void PubUtils::SetAppDir(const QString& dir)
{
    WriteSetting(&Settings::appDir, dir);
}

QString PubUtils::GetDataDir()
{
    return ReadSetting(&Settings::dataDir);
}

void PubUtils::SetDataDir(const QString& dir)
{
    WriteSetting(&Settings::dataDir, dir);
}

QString PubUtils::GetSaveDir()
{
    return ReadSetting(&Settings::saveDir);
}

void PubUtils::SetSaveDir(const QString& dir)
{
    WriteSetting(&Settings::saveDir, dir);
}

bool PubUtils::IsUsableInput(const QString& path)
{
    // isFile() follows links and is true only for regular files.
    const QFileInfo info(path);
    return !path.isEmpty() && info.isFile() && info.isReadable() && info.size() > 0;
}

bool PubUtils::IsStreamFile(const QString& path)
{
    const QFileInfo info(path);
    return !path.isEmpty() && info.exists() && !info.isFile() && !info.isDir();
}

bool PubUtils::IsCaptureDeviceName(const QString& name)
{
    static const QRegularExpression index(QStringLiteral("^[0-9]{1,2}$"));
#if defined(Q_OS_LINUX)
    static const QRegularExpression node(QStringLiteral("^/dev/video[0-9]+$"));
    if (node.match(name).hasMatch())
        return true;
#endif
    return index.match(name).hasMatch();
}

QStringList PubUtils::ListFiles(const QString& dir)
{
    QDir d(dir);
    if (dir.isEmpty() || !d.exists())
        return QStringList();
    return d.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

QStringList PubUtils::GetFileList(const QString& dir, int flag)
{
    QDir d(dir);
    if (dir.isEmpty() || !d.exists())
        return QStringList();
    // Plain code-point order: locale-aware sorting could reorder digits and case.
    QStringList names = d.entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::NoSort);
    std::sort(names.begin(), names.end());
    if (flag != 1)
        return names;
    for (QString& name : names)
        name = d.absoluteFilePath(name);
    return names;
}

QString PubUtils::JoinPath(const QString& a, const QString& b)
{
    if (a.isEmpty())
        return b;
    if (b.isEmpty())
        return a;
    return withSlash(a) + (b.startsWith(QLatin1Char('/')) ? b.mid(1) : b);
}

QString PubUtils::CheckFileName(const QString& name)
{
    // Characters that break a file name on the platforms the hosts run on, or that the
    // ffmpeg list files cannot carry.
    static const std::u32string bad = U"\\\"<>|";
    for (const QChar c : name) {
        if (bad.find(static_cast<char32_t>(c.unicode())) != std::u32string::npos)
            return QString();
    }
    return name;
}

int PubUtils::NextWorkCounter()
{
    return ++g_workCounter;
}

} // namespace WorkBaseData
