#include "works/analysis/CDetVoiceWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CSegmentFiles.h"
#include "work/FFmpegOps.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTextStream>

using WorkBaseData::PubUtils;

namespace {

QVariantMap Segment(double start, double end)
{
    return QVariantMap{{QStringLiteral("startTs"), start}, {QStringLiteral("endTs"), end}};
}

} // namespace

namespace {

CWorkBase::Guards VoiceGuards()
{
    CWorkBase::Guards guards;
    guards.bMakeSaveDir = false; // the result folder has its "zorun" fallback
    return guards;
}

} // namespace

CDetVoiceWork::CDetVoiceWork()
    : CWorkBase(5, VoiceGuards())
{
}

QVariantList CDetVoiceWork::ComputeSegments(const QVariantList& silences, double dMinSec, qint64 nDuration,
                                            double dMediaEnd)
{
    // A truncated file whose index still gives the full length decodes to less: its tail
    // stops where the data does. Whole files keep the host's length plus one second.
    const bool truncated = dMediaEnd >= 0 && dMediaEnd < static_cast<double>(nDuration);
    const double tailLength = truncated ? dMediaEnd : static_cast<double>(nDuration);
    const double tailEnd = truncated ? dMediaEnd : static_cast<double>(nDuration + 1);
    QVariantList segments;
    double prevEnd = 0;
    for (int i = 0; i < silences.size(); ++i) {
        const QVariantMap silence = silences.at(i).toMap();
        const double start = silence.value(QStringLiteral("startTs")).toDouble();
        const double end = silence.value(QStringLiteral("endTs")).toDouble();
        // Strict comparisons on purpose: a stretch exactly dMinSec long is dropped.
        if (i == 0) {
            if (dMinSec < start)
                segments.append(Segment(0, start));
        } else if (start - prevEnd > dMinSec) {
            segments.append(Segment(prevEnd, start));
        }
        if (i == silences.size() - 1 && dMinSec < tailLength - end)
            segments.append(Segment(end, tailEnd));
        prevEnd = end;
    }
    return segments;
}

void CDetVoiceWork::DoWork()
{
    const qint64 nDuration = m_mapParams.value(QStringLiteral("nDuration")).toLongLong();
    const int nDecibel = m_mapParams.value(QStringLiteral("nDecibel")).toInt();
    const double dMinSec = m_mapParams.value(QStringLiteral("dMinSec")).toDouble();
    const bool bMerge = m_mapParams.value(QStringLiteral("bMergeVideo")).toBool();

    const QString& input = InputFile();
    QString name;
    const QString folder = CSegmentFiles::MakeResultFolder(SaveDir(), input, QStringLiteral("detvoice"),
                                                           FuncName("DoWork").constData(), &name);
    if (folder.isEmpty())
        return Fail("save_dir_failed");
    m_mapResult.insert(QStringLiteral("sOutDir"), folder);
    // A run that cannot read its input, or cut none of its stretches, leaves no result
    // folder behind (no CSV naming files that do not exist).
    auto removeFolder = qScopeGuard([&] {
        PubUtils::RemoveDir(folder);
        m_mapResult.remove(QStringLiteral("sOutDir"));
    });

    FFmpegOps::DetectInfo info;
    const QVariantList silences =
        FFmpegOps::DetectSilence(QVariantMap{{QStringLiteral("inFile"), input},
                                             {QStringLiteral("nDecibel"), nDecibel},
                                             {QStringLiteral("nDuration"), 1}},
                                 &info)
            .toList();
    // The child has its own process group, so a stop (Ctrl-C) lets it end first.
    if (!m_bWorking)
        return Fail("task_stopped");
    switch (info.outcome) {
    case CProcessWork::Outcome::Ok: break;
    case CProcessWork::Outcome::ExitCode: return Fail("read_input_failed");
    case CProcessWork::Outcome::Crashed: return Fail("ffmpeg_failed");
    case CProcessWork::Outcome::NotStarted: return Fail(FFmpegOps::FFmpegFound() ? "ffmpeg_failed" : "ffmpeg_not_found");
    }

    const QVariantList segments = ComputeSegments(silences, dMinSec, nDuration, info.dDecoded);

    QVariantList requests;
    const bool padEven = CSegmentFiles::HasOddSize(input);
    QFile csv(PubUtils::JoinPath(folder, name + QStringLiteral(".csv")));
    if (csv.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        QTextStream out(&csv);
        out << "file,start,end,duration\n";
        for (int k = 0; k < segments.size(); ++k) {
            const QVariantMap seg = segments.at(k).toMap();
            const double start = seg.value(QStringLiteral("startTs")).toDouble();
            const double end = seg.value(QStringLiteral("endTs")).toDouble();
            requests.append(
                CSegmentFiles::CutRequest(input, CSegmentFiles::SegmentPath(folder, start, k), start, end, padEven));
            out << k << ',' << CSegmentFiles::FileTime(start) << ',' << CSegmentFiles::FileTime(end) << ','
                << CSegmentFiles::General6(end - start) << '\n';
        }
        out.flush();
        // A CSV cut short (a full disk) would name files that are not there.
        if (!csv.flush())
            return Fail("write_failed");
    }

    int found = 0;
    const int n = requests.size();
    for (int k = 0; k < n && m_bWorking; ++k) {
        if (!FFmpegOps::CutSegment(requests.at(k).toMap()))
            continue;
        ++found;
        NotifyProgress(static_cast<int>(static_cast<double>(k) / n * 100));
    }
    m_mapResult.insert(QStringLiteral("nFindNum"), found);
    // A run none of whose cuts worked is no success; a stopped one keeps what it cut
    // and does nothing more.
    if (n > 0 && found == 0 && m_bWorking)
        return Fail("cut_failed");
    removeFolder.dismiss();
    if (!m_bWorking)
        return Fail("task_stopped");

    if (!bMerge)
        return;
    QFile list(PubUtils::JoinPath(folder, QStringLiteral("tmp_concat") + QStringLiteral(".txt")));
    if (!list.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return;
    {
        QTextStream out(&list);
        for (const QVariant& request : requests) {
            const QFileInfo segment(request.toMap().value(QStringLiteral("outFile")).toString());
            // Bare file names, one a line: this is the list format hosts expect.
            if (segment.exists() && segment.size() >= 1)
                out << segment.fileName() << '\n';
        }
    }
    list.close();
    FFmpegOps::ConcatFiles(QVariantMap{
        {QStringLiteral("inFile"), QStringList{list.fileName()}},
        {QStringLiteral("outFile"), PubUtils::JoinPath(folder, QStringLiteral("azr-") + name + QStringLiteral(".mp4"))},
        {QStringLiteral("workPath"), folder}});
}
