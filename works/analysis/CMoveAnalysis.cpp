#include "works/analysis/CMoveAnalysis.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "base/CHostLink.h"
#include "store/CDBStore.h"
#include "works/analysis/CFrameDiff.h"

#include <QFileInfo>
#include <QScopeGuard>
#include <QtEndian>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

const char kMagic[] = "ZRM1";
constexpr int kGridSize = 64;

template <typename T>
void Put(CMoveAnalysis::RawBlock& raw, int offset, T value)
{
    const T le = qToLittleEndian(value);
    std::memcpy(raw.data() + offset, &le, sizeof le);
}

template <typename T>
T Get(const CMoveAnalysis::RawBlock& raw, int offset)
{
    T le;
    std::memcpy(&le, raw.data() + offset, sizeof le);
    return qFromLittleEndian(le);
}

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
    : m_mapParams(params)
    , m_nStep(WorkBaseData::CHostLink::GetStep(params.value(QStringLiteral("nStep")).toInt()))
{
    const char* keys[4] = {"nRectX", "nRectY", "nRectW", "nRectH"};
    for (int i = 0; i < 4; ++i)
        m_aRect[i] = params.value(QLatin1String(keys[i])).toInt();
}

QVariantList CMoveAnalysis::Events() const
{
    return FindEvents(m_vSamples, m_mapParams.value(QStringLiteral("nLevel")).toInt(),
                      m_mapParams.value(QStringLiteral("dMinSec")).toDouble(),
                      m_mapParams.value(QStringLiteral("dGapSec")).toDouble());
}

QString CMoveAnalysis::Run(const std::function<bool()>& keepGoing, const std::function<void(int)>& progress)
{
    const QString sFile = m_mapParams.value(QStringLiteral("sFile")).toString();
    if (!WorkBaseData::PubUtils::IsUsableInput(sFile))
        return QStringLiteral("read_input_failed");
    const QString path = WorkBaseData::PubUtils::AbsolutePath(sFile);

    CDBStore* store = CDBStore::GetInstance();
    auto closeModel = qScopeGuard([&] {
        if (!m_sModel.isEmpty())
            store->CloseModelTable(m_sModel);
    });
    // Without a store the work still measures; it only keeps nothing. A store that was
    // asked for and could not be opened is a failure, not a silent run without it.
    const bool useStore = !store->CataloguePath().isEmpty();
    if (!useStore && !store->FailedStore().isEmpty())
        return QStringLiteral("store_open_failed");
    VideoFileRecord record;
    qint64 resumeAfter = -1;
    bool complete = false;
    QString failure;
    if (useStore) {
        const int status = store->GetVideoFile(path, record, false, 2);
        if (status != 0)
            return QLatin1String(status == -4 ? "read_input_failed" : "store_write_failed");
        // A file analysed before is answered from its rows without opening the video.
        if (!record.key.isEmpty() && !(failure = LoadStored(record, &resumeAfter, &complete)).isEmpty())
            return failure;
        if (complete) {
            progress(100);
            return QString();
        }
    }

    cv::VideoCapture capture;
    if (!capture.open(path.toLocal8Bit().toStdString(), cv::CAP_FFMPEG))
        return QStringLiteral("read_input_failed");
    // Only a file that opens as a video gets a catalogue row.
    if (useStore && record.key.isEmpty()) {
        if (store->GetVideoFile(path, record, true, 2) != 0 || record.key.isEmpty())
            return QStringLiteral("store_write_failed");
        if (!(failure = LoadStored(record, &resumeAfter, &complete)).isEmpty())
            return failure;
    }
    return Decode(capture, keepGoing, progress, resumeAfter, record);
}

QString CMoveAnalysis::LoadStored(const VideoFileRecord& record, qint64* resumeAfter, bool* complete)
{
    CDBStore* store = CDBStore::GetInstance();
    if (record.model.isEmpty() || store->OpenModelTable(record.model, 2) != 0)
        return QStringLiteral("store_write_failed");
    m_sModel = record.model;
    QList<MoveDataRow> rows;
    if (store->GetDataMove(m_sModel, rows, 0, std::numeric_limits<qint64>::max()) != 0)
        return QStringLiteral("store_write_failed");
    Block first, last;
    if (rows.isEmpty())
        return QString();
    if (!UnpackBlock(rows.first().psnr, &first) || first.step != m_nStep || !std::equal(first.rect, first.rect + 4, m_aRect)) {
        // Stored rows of another step or region would mix two measures.
        ZRLOG(WorkBaseData::LOG_INFO, "CMoveAnalysis::LoadStored", "model %s holds other settings, measuring without it",
              qUtf8Printable(m_sModel));
        store->CloseModelTable(m_sModel);
        m_sModel.clear();
        return QString();
    }
    for (const MoveDataRow& row : rows)
        m_vSamples.append(Sample{row.id, row.time, row.diff});
    *complete = UnpackBlock(rows.last().psnr, &last) && last.last;
    *resumeAfter = rows.last().id;
    return QString();
}

QString CMoveAnalysis::Decode(cv::VideoCapture& capture, const std::function<bool()>& keepGoing,
                              const std::function<void(int)>& progress, qint64 resumeAfter, const VideoFileRecord& record)
{
    double fps = capture.get(cv::CAP_PROP_FPS);
    if (!(fps > 0 && fps < 1000))
        fps = 25;
    const qint64 frames = static_cast<qint64>(capture.get(cv::CAP_PROP_FRAME_COUNT));
    const int width = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_WIDTH));
    const int height = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_HEIGHT));
    const cv::Rect whole(0, 0, width, height);
    cv::Rect area = whole & cv::Rect(m_aRect[0], m_aRect[1], m_aRect[2] > 0 ? m_aRect[2] : width - m_aRect[0],
                                     m_aRect[3] > 0 ? m_aRect[3] : height - m_aRect[1]);
    // A region outside the picture measures the whole picture, as CFrameDiff does.
    if (area.empty())
        area = whole;

    CDBStore* store = CDBStore::GetInstance();
    if (!m_sModel.isEmpty() && record.width == 0 && width > 0) {
        const QVariantMap size{{QStringLiteral("width"), width},
                               {QStringLiteral("height"), height},
                               {QStringLiteral("duration"), frames > 0 ? qRound64(frames * 1000.0 / fps) : 0}};
        if (store->UpdateVideoFile(record, size) != 0)
            return QStringLiteral("store_write_failed");
    }

    CFrameDiff measure;
    cv::Mat frame, grid, previousGrid;
    QList<MoveDataRow> pending;
    Block block;
    block.step = m_nStep;
    std::copy(m_aRect, m_aRect + 4, block.rect);
    // A resumed run measures the last stored frame again, unstored, so that the next
    // sample is measured against it exactly as in an uninterrupted run.
    bool priming = resumeAfter >= 0;
    qint64 next = priming ? resumeAfter : 0;
    int shown = -1;
    bool stopped = false;
    for (qint64 f = 0;; ++f) {
        if (!keepGoing()) {
            stopped = true;
            break;
        }
        if (!capture.grab())
            break;
        ++m_nDecoded;
        const int pos = frames > 0 ? static_cast<int>(std::min<qint64>(99, f * 100 / frames)) : 0;
        if (pos != shown)
            progress(shown = pos);
        if (f != next)
            continue; // skipped frames are never converted
        next += m_nStep;
        if (!capture.retrieve(frame) || frame.empty())
            continue;
        const cv::Rect picture(0, 0, frame.cols, frame.rows);
        const cv::Rect clip = (area & picture).empty() ? picture : (area & picture);
        const int diff = measure.CalcFrameDiff(frame, clip);
        cv::resize(frame(clip), grid, cv::Size(kGridSize, kGridSize), 0, 0, cv::INTER_NEAREST);
        block.psnr = previousGrid.empty() ? 0 : cv::PSNR(grid, previousGrid);
        block.signature = measure.Signature();
        cv::swap(grid, previousGrid);
        if (priming) {
            priming = false;
            continue;
        }
        const Sample sample{f, qRound64(f * 1000.0 / fps), diff};
        m_vSamples.append(sample);
        if (m_sModel.isEmpty())
            continue;
        MoveDataRow row;
        row.id = sample.id;
        row.time = sample.timeMs;
        row.diff = sample.diff;
        row.psnr = PackBlock(block);
        pending.append(row);
        // The newest row waits, so that the end of the video can still be marked on it.
        if (pending.size() > kBatchRows && !Flush(pending, 1))
            return QStringLiteral("store_write_failed");
    }
    if (m_nDecoded == 0 && !stopped)
        return QStringLiteral("read_input_failed");
    if (!stopped && !pending.isEmpty()) {
        Block lastBlock;
        UnpackBlock(pending.last().psnr, &lastBlock);
        lastBlock.last = true;
        pending.last().psnr = PackBlock(lastBlock);
    }
    // A stopped run keeps its newest row back: the resumed run measures that frame again
    // and can still mark it as the last one if the video ends there.
    if (!Flush(pending, stopped ? 1 : 0))
        return QStringLiteral("store_write_failed");
    if (stopped)
        return QStringLiteral("task_stopped");
    progress(100);
    return QString();
}

bool CMoveAnalysis::Flush(QList<MoveDataRow>& pending, int keep)
{
    if (m_sModel.isEmpty() || pending.size() <= keep)
        return true;
    const QList<MoveDataRow> batch = pending.mid(0, pending.size() - keep);
    if (CDBStore::GetInstance()->InsertDataMoves(m_sModel, batch) != 0)
        return false;
    pending = pending.mid(pending.size() - keep);
    return true;
}
