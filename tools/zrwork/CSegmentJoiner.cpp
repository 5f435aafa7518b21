#include "CSegmentJoiner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryFile>
#include <QTextStream>

QStringList CSegmentJoiner::SegmentFiles(const QString& folder)
{
    QStringList files;
    QFile csv(folder + QLatin1Char('/') + QFileInfo(folder).fileName() + QStringLiteral(".csv"));
    if (!csv.open(QIODevice::ReadOnly | QIODevice::Text))
        return files;
    QTextStream in(&csv);
    in.readLine(); // header
    while (!in.atEnd()) {
        const QStringList cells = in.readLine().split(QLatin1Char(','));
        if (cells.size() < 2)
            continue;
        const QString file = folder + QLatin1Char('/') + cells.at(1) + QLatin1Char('-') + cells.at(0) + QStringLiteral(".mp4");
        if (QFileInfo(file).size() > 0)
            files.append(file);
    }
    return files;
}

QString CSegmentJoiner::ConcatList(const QStringList& files)
{
    QString list;
    for (QString file : files)
        list += QStringLiteral("file '") + file.replace(QLatin1Char('\''), QStringLiteral("'\\''")) + QStringLiteral("'\n");
    return list;
}

QString CSegmentJoiner::Join(const QStringList& files, const QString& outFile, const QString& ffmpeg)
{
    if (files.isEmpty())
        return QStringLiteral("there are no cut segments to join");
    if (ffmpeg.isEmpty())
        return QStringLiteral("ffmpeg was not found");
    QTemporaryFile list(QDir::tempPath() + QStringLiteral("/zrwork-join-XXXXXX.txt"));
    if (!list.open() || list.write(ConcatList(files).toUtf8()) < 0 || !list.flush())
        return QStringLiteral("cannot write the segment list");
    const QFileInfo out(outFile);
    const QString part = out.path() + QStringLiteral("/.") + out.fileName() + QStringLiteral(".part.mp4");
    QProcess p;
    p.start(ffmpeg, {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"),
                     QStringLiteral("concat"), QStringLiteral("-safe"), QStringLiteral("0"), QStringLiteral("-i"),
                     list.fileName(), QStringLiteral("-c"), QStringLiteral("copy"), part});
    const bool ran = p.waitForFinished(-1) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    if (!ran || QFileInfo(part).size() == 0) {
        QFile::remove(part);
        return QStringLiteral("ffmpeg could not join the segments: ") + QString::fromUtf8(p.readAllStandardError()).trimmed();
    }
    QFile::remove(outFile);
    if (!QFile::rename(part, outFile)) {
        QFile::remove(part);
        return QStringLiteral("cannot write ") + outFile;
    }
    return QString();
}
