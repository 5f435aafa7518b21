#pragma once
// The shape every stored analysis of a video shares: every step-th frame measured at its
// own time stamp, one catalogue row per file, the rows kept in the file's model in
// batches, an interrupted run resumed after the last stored frame, and a complete one
// answered from its rows without decoding.

#include "store/VideoFileRecord.h"

#include <QList>
#include <QString>

#include <functional>

namespace cv {
class Mat;
class VideoCapture;
} // namespace cv

/**
 * Base of the motion and face analyses. A subclass measures one sampled frame into a
 * pending row, stores its pending rows in one transaction, and takes the rows a model
 * already holds; this class runs the rest.
 *
 * Without an open store (no InitModelStore) the file is measured and nothing is kept.
 * With it, the file's catalogue row of the analysis' kind is found, or made once the file
 * opens as a video; width and height are written to it before the first frame, and the
 * duration (the time of the last frame plus one frame interval, in milliseconds) when a
 * run has read the file to its end.
 */
class CSampledAnalysis
{
public:
    /** Rows kept in memory before they go to the model in one transaction. */
    static constexpr int kBatchRows = 500;

    virtual ~CSampledAnalysis();
    CSampledAnalysis(const CSampledAnalysis&) = delete;
    CSampledAnalysis& operator=(const CSampledAnalysis&) = delete;

    /**
     * Runs the analysis. keepGoing is asked between frames; progress gets 0..100 by
     * frames read. Returns "" or a failure word: "read_input_failed" (missing, empty, not
     * a regular file, or no video stream OpenCV decodes), "store_write_failed" (the
     * catalogue or the model cannot be read or written), "task_stopped", or one of the
     * subclass' own.
     */
    QString Run(const std::function<bool()>& keepGoing, const std::function<void(int)>& progress);

    /** Frames decoded by this run (0 when the stored rows answered). */
    qint64 Decoded() const { return m_nDecoded; }
    /** Frames between samples (the step table's entry). */
    int FrameStep() const { return m_nStep; }
    /** The model file the rows were read from or written to; empty without the store. */
    QString Model() const { return m_sModel; }
    /** The file's catalogue row as this run left it (empty key without the store). */
    const VideoFileRecord& Record() const { return m_record; }

    /**
     * A grabbed frame's time in milliseconds: its own stamp, or, when the stamp is not a
     * number or does not come after the previous frame's (frames the decoder gives out
     * at the end carry none), previous + the interval between the two frames before.
     */
    static double FrameTime(double stampMs, double previousMs, double intervalMs, bool first);

protected:
    /** file: the input; kind: catalogue kind and model data type (1 face, 2 move). */
    CSampledAnalysis(const QString& file, int kind, int step);

    enum class Stored { Taken, Ignored, Failed };
    /**
     * The model (open) may hold rows of an earlier run: take them, set *resumeAfter to the
     * last stored frame and *complete when the file was analysed to its end. Ignored: the
     * rows were made with other settings and the file is measured without the store.
     */
    virtual Stored TakeStored(const QString& model, const VideoFileRecord& record, qint64* resumeAfter,
                              bool* complete) = 0;
    /** Whether a resumed run measures the last stored frame again, unkept, before the next. */
    virtual bool PrimeOnResume() const { return false; }
    /** Pending rows held back from a batch or a stop (so that the end can still be marked). */
    virtual int KeepBack() const { return 0; }
    /** Measures one sampled frame; keep false for the priming frame. "" or a failure word. */
    virtual QString Measure(const cv::Mat& frame, qint64 id, qint64 timeMs, bool keep) = 0;
    virtual int PendingRows() const = 0;
    /** Stores every pending row but the newest keep in one transaction; false on failure. */
    virtual bool StoreRows(const QString& model, int keep) = 0;
    /** The file was read to its end: the newest pending row is the last. */
    virtual void MarkEnd() {}

    /**
     * StoreRows' body over a subclass' pending rows: all but the newest keep go to insert
     * (the store's insert for the row type, 0 on success) as one batch, and leave pending
     * only when it succeeded.
     */
    template <typename Row, typename Insert>
    static bool StorePending(QList<Row>& pending, int keep, Insert insert)
    {
        if (pending.size() <= keep)
            return true;
        if (insert(pending.mid(0, pending.size() - keep)) != 0)
            return false;
        pending = pending.mid(pending.size() - keep);
        return true;
    }

    const QString& Path() const { return m_sPath; }

private:
    QString Decode(cv::VideoCapture& capture, const std::function<bool()>& keepGoing,
                   const std::function<void(int)>& progress, qint64 resumeAfter);
    QString LoadStored(qint64* resumeAfter, bool* complete);

    const QString m_sFile;
    const int m_nKind;
    const int m_nStep;
    QString m_sPath;
    QString m_sModel;
    VideoFileRecord m_record;
    qint64 m_nDecoded = 0;
};
