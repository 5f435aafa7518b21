#include "work/CSegmentFiles.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"

#include <QDir>
#include <QFileInfo>

#include <functional>

#include <opencv2/videoio.hpp>

using WorkBaseData::PubUtils;

namespace {

// mkdir fails on a folder that exists, which makes it a reservation: of two runs choosing
// the same name at once, one gets it and the other moves on.
QString MakeNew(const QString& saveDir, const std::function<QString(int)>& candidate, int tries)
{
    for (int n = 0; n < tries; ++n) {
        const QString folder = PubUtils::JoinPath(saveDir, candidate(n));
        if (QDir().mkdir(folder))
            return folder;
        if (!QFileInfo::exists(folder))
            break; // cannot be made at all
    }
    return QString();
}

QString CounterName(const QString& prefix)
{
    return prefix + QString::number(PubUtils::NextWorkCounter());
}

} // namespace

QString CSegmentFiles::MakeResultFolder(const QString& saveDir, const QString& file, const QString& prefix,
                                        const char* func, QString* pName)
{
    QString name = PubUtils::CheckFileName(QFileInfo(file).completeBaseName());
    QDir().mkpath(saveDir);
    QString folder;
    if (name.isEmpty()) {
        folder = MakeNew(saveDir, [&](int) { return CounterName(prefix); }, 1000);
        name = folder.isEmpty() ? CounterName(prefix) : QFileInfo(folder).fileName();
    } else {
        folder = MakeNew(saveDir, [&](int n) { return n ? name + QLatin1Char('_') + QString::number(n) : name; }, 100);
        if (!folder.isEmpty())
            name = QFileInfo(folder).fileName();
    }
    if (folder.isEmpty()) {
        const QString failed = PubUtils::JoinPath(saveDir, name);
        folder = MakeNew(saveDir, [](int) { return CounterName(QStringLiteral("zorun")); }, 1000);
        if (!folder.isEmpty())
            ZRLOG(WorkBaseData::LOG_WARN, func, "mkdir save dir failed %s use dir %s", failed.toUtf8().constData(),
                  folder.toUtf8().constData());
    }
    if (pName)
        *pName = name;
    return folder;
}

QString CSegmentFiles::SegmentPath(const QString& folder, double start, int k)
{
    return PubUtils::JoinPath(folder, FileTime(start) + QLatin1Char('-') + QString::number(k) + QStringLiteral(".mp4"));
}

QVariantMap CSegmentFiles::CutRequest(const QString& input, const QString& outFile, double start, double end,
                                      bool padEven)
{
    QVariantMap request{{QStringLiteral("inFile"), input},
                        {QStringLiteral("outFile"), outFile},
                        {QStringLiteral("startTime"), General6(start)},
                        {QStringLiteral("endTime"), General6(end)},
                        {QStringLiteral("bFast"), false}};
    if (padEven)
        request.insert(QStringLiteral("bPadEven"), true);
    return request;
}

bool CSegmentFiles::HasOddSize(const QString& file)
{
    cv::VideoCapture capture;
    if (!capture.open(file.toLocal8Bit().toStdString(), cv::CAP_FFMPEG))
        return false;
    const int width = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_WIDTH));
    const int height = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_HEIGHT));
    return width % 2 != 0 || height % 2 != 0;
}

QString CSegmentFiles::FileTime(double seconds)
{
    return PubUtils::FormatSeconds(static_cast<qint64>(seconds), true, true);
}

QString CSegmentFiles::General6(double value)
{
    return QString::number(value, 'g', 6);
}
