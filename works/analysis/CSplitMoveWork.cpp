#include "works/analysis/CSplitMoveWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CSegmentFiles.h"
#include "work/FFmpegOps.h"
#include "works/analysis/CMoveAnalysis.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
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
    const QString folder = CSegmentFiles::MakeResultFolder(SaveDir(), input, QStringLiteral("detmove"),
                                                           FuncName("DoWork").constData(), &name);
    if (folder.isEmpty())
        return Fail("save_dir_failed");
    m_mapResult.insert(QStringLiteral("sOutDir"), folder);
    // A run that made no file leaves no folder behind.
    auto removeFolder = qScopeGuard([&] {
        PubUtils::RemoveDir(folder);
        m_mapResult.remove(QStringLiteral("sOutDir"));
        if (m_mapResult.contains(QStringLiteral("nFindNum")))
            m_mapResult.insert(QStringLiteral("nFindNum"), 0);
    });

    const bool padEven = CSegmentFiles::HasOddSize(input);
    QStringList made;
    QString rows;
    const int n = events.size();
    bool stopped = false;
    for (int k = 0; k < n; ++k) {
        if (!m_bWorking) {
            stopped = true;
            break;
        }
        const QVariantMap event = events.at(k).toMap();
        const double start = event.value(QStringLiteral("startTs")).toDouble();
        const double end = event.value(QStringLiteral("endTs")).toDouble();
        const QString outFile = CSegmentFiles::SegmentPath(folder, start, k);
        // A failed cut leaves nothing behind (CutSegment removes it).
        const bool cut = FFmpegOps::CutSegment(CSegmentFiles::CutRequest(input, outFile, start, end, padEven));
        NotifyProgress(50 + (k + 1) * 50 / n);
        if (!cut)
            continue;
        made.append(outFile);
        rows += QFileInfo(outFile).fileName() + QLatin1Char(',') + CSegmentFiles::FileTime(start) + QLatin1Char(',')
                + CSegmentFiles::FileTime(end) + QLatin1Char(',') + CSegmentFiles::General6(end - start) + QLatin1Char('\n');
    }
    m_mapResult.insert(QStringLiteral("nFindNum"), made.size());
    if (made.isEmpty() && n > 0)
        return Fail(stopped ? "task_stopped" : "cut_failed");

    QFile csv(PubUtils::JoinPath(folder, name + QStringLiteral(".csv")));
    if (!csv.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return Fail("save_dir_failed");
    QTextStream(&csv) << "file,start,end,duration\n" << rows;
    if (!csv.flush()) // a full disk
        return Fail("write_failed");
    csv.close();
    removeFolder.dismiss();
    if (stopped || !m_bWorking)
        return Fail("task_stopped");
    // Some stretches could not be cut: the files that were are kept and listed.
    if (made.size() < n)
        return Fail("cut_failed");

    if (!params.value(QStringLiteral("bMergeVideo")).toBool() || made.isEmpty())
        return;
    QFile list(PubUtils::JoinPath(folder, QStringLiteral("tmp_concat.txt")));
    if (!list.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return Fail("merge_failed");
    {
        QTextStream out(&list);
        out.setCodec("UTF-8");
        for (const QString& file : made)
            out << ConcatLine(file) << '\n';
    }
    const bool listed = list.flush();
    list.close();
    const QString joined = PubUtils::JoinPath(folder, QStringLiteral("azr-") + name + QStringLiteral(".mp4"));
    if (!listed || !FFmpegOps::ConcatFiles(QVariantMap{{QStringLiteral("inFile"), QStringList{list.fileName()}},
                                                       {QStringLiteral("outFile"), joined},
                                                       {QStringLiteral("workPath"), folder}}))
        return Fail("merge_failed");
    m_mapResult.insert(QStringLiteral("sOutFile"), joined);
}
