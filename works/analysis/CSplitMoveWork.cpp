#include "works/analysis/CSplitMoveWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/FFmpegOps.h"
#include "works/analysis/CMoveAnalysis.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

using WorkBaseData::PubUtils;

namespace {

QString General6(double value)
{
    return QString::number(value, 'g', 6);
}

QString FileTime(double seconds)
{
    return PubUtils::FormatSeconds(static_cast<qint64>(seconds), true, true);
}

} // namespace

CSplitMoveWork::CSplitMoveWork()
    : CMoveWorkBase(4)
{
}

QString CSplitMoveWork::ConcatLine(const QString& path)
{
    QString quoted = path;
    quoted.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QStringLiteral("file '") + quoted + QLatin1Char('\'');
}

void CSplitMoveWork::DoWork()
{
    bool ok = true;
    const QVariantMap params = Normalise(m_mapParams, GetType(), &ok);
    const QString sFile = params.value(QStringLiteral("sFile")).toString();
    const QString sSaveDir = params.value(QStringLiteral("sSaveDir")).toString();
    if (sSaveDir.isEmpty())
        return Fail("save_dir_failed");
    if (!FFmpegOps::FFmpegFound())
        return Fail("ffmpeg_not_found");

    CMoveAnalysis analysis(params);
    if (!Analyse(analysis, 0, 50))
        return;
    const QVariantList events = m_mapResult.value(QStringLiteral("lstEvents")).toList();

    const QString input = QFileInfo(sFile).absoluteFilePath();
    QString name = PubUtils::CheckFileName(QFileInfo(sFile).completeBaseName());
    if (name.isEmpty())
        name = QStringLiteral("detmove") + QString::number(PubUtils::NextWorkCounter());
    QString folder = QFileInfo(PubUtils::JoinPath(sSaveDir, name)).absoluteFilePath();
    if (!QDir().mkpath(folder)) {
        const QString failed = folder;
        folder = QFileInfo(PubUtils::JoinPath(sSaveDir, QStringLiteral("zorun") + QString::number(PubUtils::NextWorkCounter())))
                     .absoluteFilePath();
        QDir().mkpath(folder);
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "mkdir save dir failed %s use dir %s",
              qUtf8Printable(failed), qUtf8Printable(folder));
    }
    if (!QFileInfo(folder).isDir())
        return Fail("save_dir_failed");
    m_mapResult.insert(QStringLiteral("sOutDir"), folder);

    QStringList made;
    QString rows;
    const int n = events.size();
    for (int k = 0; k < n; ++k) {
        if (!m_bWorking) {
            Fail("task_stopped");
            break;
        }
        const QVariantMap event = events.at(k).toMap();
        const double start = event.value(QStringLiteral("startTs")).toDouble();
        const double end = event.value(QStringLiteral("endTs")).toDouble();
        const QString outFile =
            PubUtils::JoinPath(folder, FileTime(start) + QLatin1Char('-') + QString::number(k) + QStringLiteral(".mp4"));
        const bool cut = FFmpegOps::CutSegment(QVariantMap{{QStringLiteral("inFile"), input},
                                                           {QStringLiteral("outFile"), outFile},
                                                           {QStringLiteral("startTime"), General6(start)},
                                                           {QStringLiteral("endTime"), General6(end)},
                                                           {QStringLiteral("bFast"), false}});
        NotifyProgress(50 + (k + 1) * 50 / n);
        if (!cut || QFileInfo(outFile).size() < 1)
            continue;
        made.append(outFile);
        rows += QFileInfo(outFile).fileName() + QLatin1Char(',') + FileTime(start) + QLatin1Char(',') + FileTime(end)
                + QLatin1Char(',') + General6(end - start) + QLatin1Char('\n');
    }
    m_mapResult.insert(QStringLiteral("nFindNum"), made.size());

    QFile csv(PubUtils::JoinPath(folder, name + QStringLiteral(".csv")));
    if (!csv.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return Fail("save_dir_failed");
    QTextStream(&csv) << "file,start,end,duration\n" << rows;
    csv.close();

    if (!params.value(QStringLiteral("bMergeVideo")).toBool() || made.isEmpty() || !m_bWorking)
        return;
    QFile list(PubUtils::JoinPath(folder, QStringLiteral("tmp_concat.txt")));
    if (!list.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return;
    {
        QTextStream out(&list);
        out.setCodec("UTF-8");
        for (const QString& file : made)
            out << ConcatLine(file) << '\n';
    }
    list.close();
    const QString joined = PubUtils::JoinPath(folder, QStringLiteral("azr-") + name + QStringLiteral(".mp4"));
    if (FFmpegOps::ConcatFiles(QVariantMap{{QStringLiteral("inFile"), QStringList{list.fileName()}},
                                           {QStringLiteral("outFile"), joined},
                                           {QStringLiteral("workPath"), folder}}))
        m_mapResult.insert(QStringLiteral("sOutFile"), joined);
}
