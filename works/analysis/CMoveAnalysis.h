#pragma once
// Finds where a video moves for the motion works: samples frames, measures each with
// CFrameDiff, keeps the measure in the file's model database when the store is open,
// resumes an interrupted analysis and answers an analysed file from its stored rows.

#include "store/MoveDataRow.h"
#include "store/VideoFileRecord.h"

#include <QString>
#include <QVariantList>
#include <QVariantMap>
#include <QVector>

#include <array>
#include <functional>

namespace cv {
class VideoCapture;
}

/**
 * One analysis of one video with the normalised parameters of the motion works
 * (CMoveWorkBase::Normalise). Pure parts (events, block layout) are static.
 */
class CMoveAnalysis
{
public:
    /** One sampled frame: frame number, time in milliseconds, change measure (0..64). */
    struct Sample
    {
        qint64 id = 0;
        qint64 timeMs = 0;
        int diff = 0;
    };

    /** What a row's 256-byte "psnr" block holds (little-endian, the rest zero). */
    struct Block
    {
        double psnr = 0;         // bytes 4..11: dB against the previous sample's 64 × 64 grid; 0 for the first
        quint64 signature = 0;   // bytes 12..19: the frame's 64-bit signature (CFrameDiff::Signature)
        qint32 step = 0;         // bytes 20..23: frames between samples
        qint32 rect[4] = {0, 0, 0, 0}; // bytes 24..39: region x, y, width, height as asked (0 size = to the edge)
        bool last = false;       // byte 40 bit 0: no sample follows, the analysis is complete
    };
    using RawBlock = std::array<quint8, MoveDataRow::kPsnrSize>;

    static RawBlock PackBlock(const Block& block);
    /** False when the block does not start with the magic "ZRM1" (bytes 0..3). */
    static bool UnpackBlock(const RawBlock& raw, Block* block);

    /**
     * Motion events {"startTs", "endTs"} (seconds) of samples in frame order. A sample
     * moves when its diff is at least level; an event runs from the sample before its
     * first moving one (the change happened after it) to its last moving one. Events
     * less than gapSec apart are joined; events shorter than minSec are dropped.
     */
    static QVariantList FindEvents(const QVector<Sample>& samples, int level, double minSec, double gapSec);

    /** Rows kept in memory before they go to the model in one transaction. */
    static constexpr int kBatchRows = 500;

    explicit CMoveAnalysis(const QVariantMap& params);

    /**
     * Runs the analysis. keepGoing is asked between frames; progress gets 0..100 by
     * frames read. Returns "" or a failure word: "read_input_failed",
     * "store_write_failed", "task_stopped" (the rows measured so far are stored but
     * the newest, which the resumed run measures again).
     */
    QString Run(const std::function<bool()>& keepGoing, const std::function<void(int)>& progress);

    const QVector<Sample>& Samples() const { return m_vSamples; }
    QVariantList Events() const;
    /** Frames decoded by this run (0 when the stored rows answered). */
    qint64 Decoded() const { return m_nDecoded; }
    int FrameStep() const { return m_nStep; }
    /** The model file the rows were read from or written to; empty without the store. */
    QString Model() const { return m_sModel; }

private:
    // Opens record's model and takes its rows when they were made with this step and
    // region; "" or a failure word.
    QString LoadStored(const VideoFileRecord& record, qint64* resumeAfter, bool* complete);
    QString Decode(cv::VideoCapture& capture, const std::function<bool()>& keepGoing,
                   const std::function<void(int)>& progress, qint64 resumeAfter, const VideoFileRecord& record);
    bool Flush(QList<MoveDataRow>& pending, int keep);

    QVariantMap m_mapParams;
    int m_nStep = 1;
    qint32 m_aRect[4] = {0, 0, 0, 0};
    QString m_sModel;
    QVector<Sample> m_vSamples;
    qint64 m_nDecoded = 0;
};
