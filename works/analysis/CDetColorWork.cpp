#include "works/analysis/CDetColorWork.h"

#include "base/CHostLink.h"
#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "works/analysis/CColourMeasure.h"
#include "works/analysis/CFrameSampler.h"
#include "works/analysis/CSampledWorkBase.h"
#include "works/filter/WhiteBalanceFilter.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

using WorkBaseData::PubUtils;

namespace {

CWorkBase::Guards ColourGuards()
{
    CWorkBase::Guards guards;
    guards.bDeviceInput = true;
    guards.bNeedSaveDir = false; // only the CSV and the fix need it
    guards.bMakeSaveDir = false;
    return guards;
}

// The name results are written under: the file's, or the device's ("camera0", "video0").
QString OutputName(const QString& input, bool device)
{
    if (device)
        return input.startsWith(QLatin1Char('/')) ? QFileInfo(input).fileName() : QStringLiteral("camera") + input;
    return QFileInfo(input).completeBaseName();
}

} // namespace

CDetColorWork::CDetColorWork()
    : CFrameSeqWork(1, Stages(), ColourGuards())
{
}

bool CDetColorWork::SetParams(const QVariantMap& params)
{
    return SetNormalisedParams(params, &CSampledWorkBase::Normalise);
}

const char* CDetColorWork::InputWord() const
{
    // Not the pipeline's: the input is judged by the analysis, whatever "bPicFlt" says.
    return CWorkBase::InputWord();
}

std::unique_ptr<CFilter> CDetColorWork::CreateFilter()
{
    return std::make_unique<WhiteBalanceFilter>();
}

void CDetColorWork::DoWork()
{
    const int colours = m_mapParams.value(QStringLiteral("nColours")).toInt();
    const qint64 limitMs = qRound64(m_mapParams.value(QStringLiteral("dSeconds")).toDouble() * 1000);
    const bool fix = m_mapParams.value(QStringLiteral("bFix")).toBool();
    const QString saveDir = SaveDir();
    // Checked before anything is decoded, so a bad folder costs no analysis.
    if ((fix && saveDir.isEmpty())
        || (!saveDir.isEmpty() && (!QDir().mkpath(saveDir) || !QFileInfo(saveDir).isWritable())))
        return Fail("save_dir_failed");

    CFrameSampler sampler(WorkBaseData::CHostLink::GetStep(m_mapParams.value(QStringLiteral("nStep")).toInt()));
    m_mapResult.insert(QStringLiteral("nFrameStep"), sampler.Step());
    const QString failure = sampler.Open(InputFile());
    if (!failure.isEmpty())
        return Fail(failure.toLatin1().constData());
    const bool device = sampler.GetKind() == CFrameSampler::Kind::Device;

    QVector<CColourMeasure::Sample> samples;
    cv::Mat frame;
    qint64 id = 0, timeMs = 0;
    bool stopped = false;
    int shown = -1;
    for (;;) {
        if (!m_bWorking) {
            stopped = true;
            break;
        }
        if (!sampler.Next(frame, &id, &timeMs))
            break;
        if (limitMs > 0 && !samples.isEmpty() && timeMs - samples.first().timeMs >= limitMs)
            break;
        samples.append({id, timeMs, CColourMeasure::Measure(frame, colours)});
        const int pos = device ? (limitMs > 0 ? static_cast<int>(qMin<qint64>(99, timeMs * 100 / limitMs)) : 0)
                               : sampler.Progress();
        if (pos != shown)
            NotifyProgress(shown = pos);
    }
    m_mapResult.insert(QStringLiteral("nDecoded"), sampler.Decoded());
    m_mapResult.insert(QStringLiteral("nSamples"), samples.size());
    // A device has no end of its own: a stop is how its measure ends.
    if (stopped && !device)
        return Fail("task_stopped");
    if (samples.isEmpty())
        return Fail(device ? "open_device_failed" : "read_input_failed");

    const QVariantMap summary = CColourMeasure::Summary(CColourMeasure::Mean(samples, 0, samples.size(), colours));
    for (auto it = summary.cbegin(); it != summary.cend(); ++it)
        m_mapResult.insert(it.key(), it.value());
    if (!saveDir.isEmpty()
        && !WriteTimeline(saveDir, OutputName(InputFile(), device), CColourMeasure::TimelineCsv(samples, colours)))
        return;
    if (!fix)
        return;
    if (device) {
        ZRLOG(WorkBaseData::LOG_INFO, FuncName("DoWork").constData(), "a capture device is measured, not fixed");
        return;
    }
    // The pipeline picks its picture or video path by this key.
    m_mapParams.insert(QStringLiteral("bPicFlt"), sampler.GetKind() == CFrameSampler::Kind::Picture);
    CFrameSeqWork::DoWork();
}

bool CDetColorWork::WriteTimeline(const QString& saveDir, const QString& name, const QByteArray& csv)
{
    // The name is reserved (an empty file) when chosen; only a reserved one is written over.
    bool reserved = false;
    const QString path =
        PubUtils::MakeUniqueFilePath(saveDir, name + QStringLiteral("-colour"), QStringLiteral("csv"), &reserved);
    QSaveFile file(path);
    if (!reserved || !file.open(QIODevice::WriteOnly) || file.write(csv) != csv.size() || !file.commit()) {
        if (reserved)
            QFile::remove(path);
        Fail("write_result_failed");
        return false;
    }
    m_mapResult.insert(QStringLiteral("sCsvFile"), path);
    return true;
}
