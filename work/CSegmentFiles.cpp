#include "work/CSegmentFiles.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"

#include <QDir>
#include <QFileInfo>

using WorkBaseData::PubUtils;

QString CSegmentFiles::MakeResultFolder(const QString& saveDir, const QString& file, const QString& prefix,
                                        const char* func, bool* pExisted, QString* pName)
{
    QString name = PubUtils::CheckFileName(QFileInfo(file).completeBaseName());
    if (name.isEmpty())
        name = prefix + QString::number(PubUtils::NextWorkCounter());
    QString folder = PubUtils::JoinPath(saveDir, name);
    const bool existed = QDir(folder).exists();
    if (!existed && !QDir().mkpath(folder)) {
        const QString failed = folder;
        folder = PubUtils::JoinPath(saveDir, QStringLiteral("zorun") + QString::number(PubUtils::NextWorkCounter()));
        QDir().mkpath(folder);
        ZRLOG(WorkBaseData::LOG_WARN, func, "mkdir save dir failed %s use dir %s", failed.toUtf8().constData(),
              folder.toUtf8().constData());
    }
    if (pExisted)
        *pExisted = existed;
    if (pName)
        *pName = name;
    return QFileInfo(folder).isDir() ? folder : QString();
}

QString CSegmentFiles::SegmentPath(const QString& folder, double start, int k)
{
    return PubUtils::JoinPath(folder, FileTime(start) + QLatin1Char('-') + QString::number(k) + QStringLiteral(".mp4"));
}

QVariantMap CSegmentFiles::CutRequest(const QString& input, const QString& outFile, double start, double end)
{
    return QVariantMap{{QStringLiteral("inFile"), input},
                       {QStringLiteral("outFile"), outFile},
                       {QStringLiteral("startTime"), General6(start)},
                       {QStringLiteral("endTime"), General6(end)},
                       {QStringLiteral("bFast"), false}};
}

QString CSegmentFiles::FileTime(double seconds)
{
    return PubUtils::FormatSeconds(static_cast<qint64>(seconds), true, true);
}

QString CSegmentFiles::General6(double value)
{
    return QString::number(value, 'g', 6);
}
