#include "works/analysis/CSplitMoveWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CSegmentFiles.h"
#include "work/FFmpegOps.h"
#include "works/analysis/CMoveAnalysis.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

using WorkBaseData::PubUtils;


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
    if (!FFmpegOps::FFmpegFound())
        return Fail("ffmpeg_not_found");

    CMoveAnalysis analysis(params);
    if (!Analyse(analysis, 0, 50))
        return;
    const QVariantList events = m_mapResult.value(QStringLiteral("lstEvents")).toList();

    const QString& input = InputFile();
    QString name;
    const QString folder = CSegmentFiles::MakeResultFolder(SaveDir(), input,
                                                           QStringLiteral("detmove"), FuncName("DoWork").constData(),
                                                           nullptr, &name);
    if (folder.isEmpty())
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
        const QString outFile = CSegmentFiles::SegmentPath(folder, start, k);
        const bool cut = FFmpegOps::CutSegment(CSegmentFiles::CutRequest(input, outFile, start, end));
        NotifyProgress(50 + (k + 1) * 50 / n);
        if (!cut || QFileInfo(outFile).size() < 1)
            continue;
        made.append(outFile);
        rows += QFileInfo(outFile).fileName() + QLatin1Char(',') + CSegmentFiles::FileTime(start) + QLatin1Char(',')
                + CSegmentFiles::FileTime(end) + QLatin1Char(',') + CSegmentFiles::General6(end - start) + QLatin1Char('\n');
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
