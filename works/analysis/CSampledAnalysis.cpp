#include "works/analysis/CSampledAnalysis.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "store/CDBStore.h"

#include <QScopeGuard>

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

#include <cmath>

CSampledAnalysis::CSampledAnalysis(const QString& file, int kind, int step)
    : m_sFile(file)
    , m_nKind(kind)
    , m_nStep(step)
{
}

CSampledAnalysis::~CSampledAnalysis() = default;

double CSampledAnalysis::FrameTime(double stampMs, double previousMs, double intervalMs, bool first)
{
    if (first)
        return std::isfinite(stampMs) ? std::max(stampMs, 0.0) : 0.0;
    return std::isfinite(stampMs) && stampMs > previousMs ? stampMs : previousMs + intervalMs;
}

QString CSampledAnalysis::Run(const std::function<bool()>& keepGoing, const std::function<void(int)>& progress)
{
    if (!WorkBaseData::PubUtils::IsUsableInput(m_sFile))
        return QStringLiteral("read_input_failed");
    m_sPath = WorkBaseData::PubUtils::AbsolutePath(m_sFile);

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
    qint64 resumeAfter = -1;
    bool complete = false;
    QString failure;
    if (useStore) {
        const int status = store->GetVideoFile(m_sPath, m_record, false, m_nKind);
        if (status != 0)
            return QLatin1String(status == -4 ? "read_input_failed" : "store_write_failed");
        // A file analysed before is answered from its rows without opening the video.
        if (!m_record.key.isEmpty() && !(failure = LoadStored(&resumeAfter, &complete)).isEmpty())
            return failure;
        if (complete) {
            progress(100);
            return QString();
        }
    }

    cv::VideoCapture capture;
    if (!capture.open(m_sPath.toLocal8Bit().toStdString(), cv::CAP_FFMPEG))
        return QStringLiteral("read_input_failed");
    // Only a file that opens as a video gets a catalogue row.
    if (useStore && m_record.key.isEmpty()) {
        if (store->GetVideoFile(m_sPath, m_record, true, m_nKind) != 0 || m_record.key.isEmpty())
            return QStringLiteral("store_write_failed");
        if (!(failure = LoadStored(&resumeAfter, &complete)).isEmpty())
            return failure;
    }
    return Decode(capture, keepGoing, progress, resumeAfter);
}

QString CSampledAnalysis::LoadStored(qint64* resumeAfter, bool* complete)
{
    CDBStore* store = CDBStore::GetInstance();
    if (m_record.model.isEmpty() || store->OpenModelTable(m_record.model, m_nKind) != 0)
        return QStringLiteral("store_write_failed");
    m_sModel = m_record.model;
    switch (TakeStored(m_sModel, m_record, resumeAfter, complete)) {
    case Stored::Taken:
        return QString();
    case Stored::Failed:
        return QStringLiteral("store_write_failed");
    case Stored::Ignored:
        break;
    }
    // Stored rows of other settings would mix two measures.
    ZRLOG(WorkBaseData::LOG_INFO, "CSampledAnalysis::LoadStored", "model %s holds other settings, measuring without it",
          qUtf8Printable(m_sModel));
    store->CloseModelTable(m_sModel);
    m_sModel.clear();
    *resumeAfter = -1;
    *complete = false;
    return QString();
}

QString CSampledAnalysis::Decode(cv::VideoCapture& capture, const std::function<bool()>& keepGoing,
                                 const std::function<void(int)>& progress, qint64 resumeAfter)
{
    double fps = capture.get(cv::CAP_PROP_FPS);
    if (!(fps > 0 && fps < 1000))
        fps = 25;
    const qint64 frames = static_cast<qint64>(capture.get(cv::CAP_PROP_FRAME_COUNT));
    const int width = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_WIDTH));
    const int height = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_HEIGHT));

    CDBStore* store = CDBStore::GetInstance();
    if (!m_sModel.isEmpty() && m_record.width == 0 && width > 0) {
        if (store->UpdateVideoFile(m_record, {{QStringLiteral("width"), width}, {QStringLiteral("height"), height}}) != 0)
            return QStringLiteral("store_write_failed");
        m_record.width = width;
        m_record.height = height;
    }

    cv::Mat frame;
    const bool prime = resumeAfter >= 0 && PrimeOnResume();
    bool priming = prime;
    qint64 next = resumeAfter < 0 ? 0 : (prime ? resumeAfter : resumeAfter + m_nStep);
    // Kept unrounded: rounding each frame's time would add up over the fallback frames.
    double timeMs = 0, intervalMs = 1000.0 / fps;
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
        // Each frame's own stamp: on variable-rate video, frame number / average rate drifts.
        const double previousMs = timeMs;
        timeMs = FrameTime(capture.get(cv::CAP_PROP_POS_MSEC), previousMs, intervalMs, f == 0);
        if (f > 0)
            intervalMs = timeMs - previousMs;
        const int pos = frames > 0 ? static_cast<int>(std::min<qint64>(99, f * 100 / frames)) : 0;
        if (pos != shown)
            progress(shown = pos);
        if (f != next)
            continue; // skipped frames are never converted
        next += m_nStep;
        if (!capture.retrieve(frame) || frame.empty())
            continue;
        const QString failure = Measure(frame, f, qRound64(timeMs), !priming);
        if (!failure.isEmpty())
            return failure;
        priming = false;
        if (!m_sModel.isEmpty() && PendingRows() > kBatchRows && !StoreRows(m_sModel, KeepBack()))
            return QStringLiteral("store_write_failed");
    }
    if (m_nDecoded == 0 && !stopped)
        return QStringLiteral("read_input_failed");
    if (!stopped)
        MarkEnd();
    // A stopped run may keep its newest rows back: the resumed run measures them again.
    if (!m_sModel.isEmpty() && !StoreRows(m_sModel, stopped ? KeepBack() : 0))
        return QStringLiteral("store_write_failed");
    if (stopped)
        return QStringLiteral("task_stopped");
    const qint64 durationMs = qRound64(timeMs + intervalMs);
    if (!m_sModel.isEmpty() && m_record.duration != durationMs) {
        if (store->UpdateVideoFile(m_record, {{QStringLiteral("duration"), durationMs}}) != 0)
            return QStringLiteral("store_write_failed");
        m_record.duration = durationMs;
    }
    progress(100);
    return QString();
}
