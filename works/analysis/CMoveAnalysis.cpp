#include "works/analysis/CMoveAnalysis.h"

#include "base/CHostLink.h"
#include "base/LittleEndian.h"
#include "store/CDBStore.h"
#include "works/analysis/CFrameDiff.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

const char kMagic[] = "ZRM1";
constexpr int kGridSize = 64;

using LittleEndian::Get;
using LittleEndian::Put;

QVariantMap Event(qint64 startMs, qint64 endMs)
{
    return QVariantMap{{QStringLiteral("startTs"), startMs / 1000.0}, {QStringLiteral("endTs"), endMs / 1000.0}};
}

} // namespace

CMoveAnalysis::RawBlock CMoveAnalysis::PackBlock(const Block& block)
{
    RawBlock raw{};
    std::memcpy(raw.data(), kMagic, 4);
    quint64 psnrBits = 0;
    std::memcpy(&psnrBits, &block.psnr, sizeof psnrBits);
    Put<quint64>(raw, 4, psnrBits);
    Put<quint64>(raw, 12, block.signature);
    Put<qint32>(raw, 20, block.step);
    for (int i = 0; i < 4; ++i)
        Put<qint32>(raw, 24 + 4 * i, block.rect[i]);
    raw[40] = block.last ? 1 : 0;
    return raw;
}

bool CMoveAnalysis::UnpackBlock(const RawBlock& raw, Block* block)
{
    if (std::memcmp(raw.data(), kMagic, 4) != 0)
        return false;
    const quint64 psnrBits = Get<quint64>(raw, 4);
    std::memcpy(&block->psnr, &psnrBits, sizeof psnrBits);
    block->signature = Get<quint64>(raw, 12);
    block->step = Get<qint32>(raw, 20);
    for (int i = 0; i < 4; ++i)
        block->rect[i] = Get<qint32>(raw, 24 + 4 * i);
    block->last = (raw[40] & 1) != 0;
    return true;
}

QVariantList CMoveAnalysis::FindEvents(const QVector<Sample>& samples, int level, double minSec, double gapSec)
{
    QVector<QPair<qint64, qint64>> spans; // milliseconds
    bool open = false;
    for (int i = 0; i < samples.size(); ++i) {
        if (samples.at(i).diff < level) {
            open = false;
            continue;
        }
        if (!open)
            spans.append({samples.at(i > 0 ? i - 1 : i).timeMs, samples.at(i).timeMs});
        spans.last().second = samples.at(i).timeMs;
        open = true;
    }
    QVariantList events;
    qint64 start = 0, end = 0;
    for (int i = 0; i < spans.size(); ++i) {
        if (i > 0 && (spans.at(i).first - end) / 1000.0 < gapSec) {
            end = spans.at(i).second;
            continue;
        }
        if (i > 0 && (end - start) / 1000.0 >= minSec)
            events.append(Event(start, end));
        start = spans.at(i).first;
        end = spans.at(i).second;
    }
    if (!spans.isEmpty() && (end - start) / 1000.0 >= minSec)
        events.append(Event(start, end));
    return events;
}

CMoveAnalysis::CMoveAnalysis(const QVariantMap& params)
    : CSampledAnalysis(params.value(QStringLiteral("sFile")).toString(), 2,
                       WorkBaseData::CHostLink::GetStep(params.value(QStringLiteral("nStep")).toInt()))
    , m_mapParams(params)
    , m_pMeasure(new CFrameDiff)
{
    const char* keys[4] = {"nRectX", "nRectY", "nRectW", "nRectH"};
    for (int i = 0; i < 4; ++i)
        m_aRect[i] = params.value(QLatin1String(keys[i])).toInt();
    m_block.step = FrameStep();
    std::copy(m_aRect, m_aRect + 4, m_block.rect);
}

CMoveAnalysis::~CMoveAnalysis() = default;

QVariantList CMoveAnalysis::Events() const
{
    return FindEvents(m_vSamples, m_mapParams.value(QStringLiteral("nLevel")).toInt(),
                      m_mapParams.value(QStringLiteral("dMinSec")).toDouble(),
                      m_mapParams.value(QStringLiteral("dGapSec")).toDouble());
}

CSampledAnalysis::Stored CMoveAnalysis::TakeStored(const QString& model, const VideoFileRecord& record,
                                                   qint64* resumeAfter, bool* complete)
{
    Q_UNUSED(record)
    QList<MoveDataRow> rows;
    if (CDBStore::GetInstance()->GetDataMove(model, rows, 0, std::numeric_limits<qint64>::max()) != 0)
        return Stored::Failed;
    if (rows.isEmpty())
        return Stored::Taken;
    Block first, last;
    if (!UnpackBlock(rows.first().psnr, &first) || first.step != FrameStep() || !std::equal(first.rect, first.rect + 4, m_aRect))
        return Stored::Ignored;
    for (const MoveDataRow& row : rows)
        m_vSamples.append(Sample{row.id, row.time, row.diff});
    *complete = UnpackBlock(rows.last().psnr, &last) && last.last;
    *resumeAfter = rows.last().id;
    return Stored::Taken;
}

QString CMoveAnalysis::Measure(const cv::Mat& frame, qint64 id, qint64 timeMs, bool keep)
{
    const cv::Rect picture(0, 0, frame.cols, frame.rows);
    cv::Rect area = picture & cv::Rect(m_aRect[0], m_aRect[1], m_aRect[2] > 0 ? m_aRect[2] : frame.cols - m_aRect[0],
                                       m_aRect[3] > 0 ? m_aRect[3] : frame.rows - m_aRect[1]);
    // A region outside the picture measures the whole picture, as CFrameDiff does.
    if (area.empty())
        area = picture;
    const int diff = m_pMeasure->CalcFrameDiff(frame, area);
    cv::Mat grid;
    cv::resize(frame(area), grid, cv::Size(kGridSize, kGridSize), 0, 0, cv::INTER_NEAREST);
    m_block.psnr = m_previousGrid.empty() ? 0 : cv::PSNR(grid, m_previousGrid);
    m_block.signature = m_pMeasure->Signature();
    m_previousGrid = grid;
    if (!keep)
        return QString();
    const Sample sample{id, timeMs, diff};
    m_vSamples.append(sample);
    if (Model().isEmpty())
        return QString();
    MoveDataRow row;
    row.id = sample.id;
    row.time = sample.timeMs;
    row.diff = sample.diff;
    row.psnr = PackBlock(m_block);
    m_lstPending.append(row);
    return QString();
}

void CMoveAnalysis::MarkEnd()
{
    if (m_lstPending.isEmpty())
        return;
    Block lastBlock;
    UnpackBlock(m_lstPending.last().psnr, &lastBlock);
    lastBlock.last = true;
    m_lstPending.last().psnr = PackBlock(lastBlock);
}

bool CMoveAnalysis::StoreRows(const QString& model, int keep)
{
    return StorePending(m_lstPending, keep,
                        [&](const QList<MoveDataRow>& batch) { return CDBStore::GetInstance()->InsertDataMoves(model, batch); });
}
