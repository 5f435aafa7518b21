#pragma once
// Finds where a video moves for the motion works: measures each sampled frame with
// CFrameDiff; CSampledAnalysis samples, stores, resumes and answers from stored rows.

#include "store/MoveDataRow.h"
#include "works/analysis/CSampledAnalysis.h"

#include <QString>
#include <QVariantList>
#include <QVariantMap>
#include <QVector>

#include <opencv2/core.hpp>

#include <array>
#include <memory>

class CFrameDiff;

/**
 * One analysis of one video with the normalised parameters of the motion works
 * (CMoveWorkBase::Normalise). Pure parts (events, block layout) are static.
 */
class CMoveAnalysis : public CSampledAnalysis
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

    /**
     * Run() (CSampledAnalysis) gives "task_stopped" with the rows measured so far stored
     * but the newest, which the resumed run measures again.
     */
    explicit CMoveAnalysis(const QVariantMap& params);
    ~CMoveAnalysis() override;

    const QVector<Sample>& Samples() const { return m_vSamples; }
    QVariantList Events() const;

protected:
    // Takes the rows when they were made with this step and region.
    Stored TakeStored(const QString& model, const VideoFileRecord& record, qint64* resumeAfter, bool* complete) override;
    // The next sample is measured against the last stored one, as in an uninterrupted run.
    bool PrimeOnResume() const override { return true; }
    // The newest row waits, so that the end of the video can still be marked on it.
    int KeepBack() const override { return 1; }
    QString Measure(const cv::Mat& frame, qint64 id, qint64 timeMs, bool keep) override;
    int PendingRows() const override { return m_lstPending.size(); }
    bool StoreRows(const QString& model, int keep) override;
    void MarkEnd() override;

private:
    QVariantMap m_mapParams;
    qint32 m_aRect[4] = {0, 0, 0, 0};
    QVector<Sample> m_vSamples;
    std::unique_ptr<CFrameDiff> m_pMeasure;
    cv::Mat m_previousGrid;
    Block m_block;
    QList<MoveDataRow> m_lstPending;
};
