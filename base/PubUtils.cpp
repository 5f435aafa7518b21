#include "base/PubUtils.h"

#include "base/CLogWriter.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMutex>

#include <atomic>

namespace WorkBaseData {

namespace {

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

std::atomic<int> g_workCounter{0};

QString withSlash(const QString& dir)
{
    if (dir.endsWith(QLatin1Char('/')) || dir.endsWith(QLatin1Char('\\')))
        return dir;
    return dir + QLatin1Char('/');
}

} // namespace

QString PubUtils::GetFileFingerprint(const QString& path)
{
    Q_UNUSED(path);
    return QString();
}

QString PubUtils::FormatSeconds(qint64 seconds, bool bHours, bool bFileName)
{
    const qint64 hours = seconds / 3600;
    const qint64 minutes = (seconds - hours * 3600) / 60;
    const qint64 secs = seconds % 60;
    QString text;
    if (hours == 0 && !bHours)
        text = QString::asprintf("%02d:%02d", int(minutes), int(secs));
    else
        text = QString::asprintf("%02d:%02d:%02d", int(hours), int(minutes), int(secs));
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
    return QDir(path).removeRecursively();
}

QString PubUtils::MakeUniqueFilePath(const QString& dir, const QString& base, const QString& ext)
{
    const QString d = withSlash(dir);
    const QString e = ext.startsWith(QLatin1Char('.')) ? ext : QLatin1Char('.') + ext;
    QString path = d + base + e;
    for (int n = 1; n <= 99 && QFileInfo::exists(path); ++n)
        path = d + base + QLatin1Char('_') + QString::number(n) + e;
    return path;
}

QString PubUtils::MakeTempWorkDir(const QString& dir)
{
    static QMutex lock;
    static qint64 runNumber = -1;
    static qint64 lastStamp = 0;
    qint64 stamp = QDateTime::currentMSecsSinceEpoch();
    {
        QMutexLocker locker(&lock);
        if (runNumber < 0) {
            runNumber = 10000 + stamp % 10000;
            lastStamp = stamp;
        }
        if (stamp <= lastStamp) {
            stamp = lastStamp + 1;
            lastStamp = stamp;
        }
    }
    const QString path = withSlash(dir) + QStringLiteral("_temp") + QString::number(runNumber) + QLatin1Char('_')
        + QString::number(stamp);
    QDir().mkpath(path);
    return path;
}

QStringList PubUtils::EnumVideoDevices()
{
    return QStringList();
}

bool PubUtils::MarkModeFile(const QString& src, const QString& dst)
{
    Q_UNUSED(src);
    Q_UNUSED(dst);
    return false;
}

bool PubUtils::UnmarkModeFile(const QString& src, const QString& dst)
{
    Q_UNUSED(src);
    Q_UNUSED(dst);
    return false;
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
    Settings& s = settings();
    QMutexLocker locker(&s.lock);
    s.appDir = dir;
}

QString PubUtils::GetDataDir()
{
    Settings& s = settings();
    QMutexLocker locker(&s.lock);
    return s.dataDir;
}

void PubUtils::SetDataDir(const QString& dir)
{
    Settings& s = settings();
    QMutexLocker locker(&s.lock);
    s.dataDir = dir;
}

QString PubUtils::GetSaveDir()
{
    Settings& s = settings();
    QMutexLocker locker(&s.lock);
    return s.saveDir;
}

void PubUtils::SetSaveDir(const QString& dir)
{
    Settings& s = settings();
    QMutexLocker locker(&s.lock);
    s.saveDir = dir;
}

QStringList PubUtils::ListFiles(const QString& dir)
{
    QDir d(dir);
    if (!d.exists())
        return QStringList();
    return d.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
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
    static const QString bad = QStringLiteral("\\\"<>|");
    for (const QChar c : name) {
        if (bad.contains(c))
            return QString();
    }
    return name;
}

int PubUtils::NextWorkCounter()
{
    return ++g_workCounter;
}

} // namespace WorkBaseData
