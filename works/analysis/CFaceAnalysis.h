#pragma once
// Finds the faces of a video or picture for the face work: each sampled frame's faces
// become marks of one FaceDataRow, grouped into people as they come; CSampledAnalysis
// samples, stores, resumes and answers from stored rows.

#include "store/FaceDataRow.h"
#include "works/analysis/CFaceMark.h"
#include "works/analysis/CFacePeople.h"
#include "works/analysis/CSampledAnalysis.h"

#include <QHash>
#include <QList>
#include <QVariantMap>

#include <opencv2/core.hpp>

#include <memory>

class CFaceEngine;

/**
 * One analysis of one file with the normalised parameters of the face work
 * ("nStep", "nMinFace", "dMaxDist", see CDetFaceWork).
 */
class CFaceAnalysis : public CSampledAnalysis
{
public:
    /** One face found: the frame it is in, the frame's time, and its mark. */
    struct Found
    {
        qint64 id = 0;
        qint64 timeMs = 0;
        CFaceMark mark;
    };

    CFaceAnalysis(const QVariantMap& params, std::shared_ptr<CFaceEngine> engine);
    ~CFaceAnalysis() override;

    const QVector<Found>& Faces() const { return m_vFaces; }
    const CFacePeople& People() const { return m_people; }
    CFacePeople& People() { return m_people; }
    /** Frames analysed, stored ones included. */
    qint64 Samples() const { return m_nSamples; }
    /** Milliseconds between samples, on average (0 with fewer than two samples). */
    qint64 SampleIntervalMs() const;
    /** Each person's clearest face from the frames this run read (none from stored rows). */
    const QHash<int, cv::Mat>& Pictures() const { return m_hashPictures; }

protected:
    // Takes the rows when their marks were made with this step and minimum face; the
    // file is complete when its catalogue row holds a duration.
    Stored TakeStored(const QString& model, const VideoFileRecord& record, qint64* resumeAfter, bool* complete) override;
    QString Measure(const cv::Mat& frame, qint64 id, qint64 timeMs, bool keep) override;
    int PendingRows() const override { return m_lstPending.size(); }
    bool StoreRows(const QString& model, int keep) override;

private:
    void Take(qint64 id, qint64 timeMs, CFaceMark mark);

    std::shared_ptr<CFaceEngine> m_pEngine;
    int m_nMinFace;
    CFacePeople m_people;
    QVector<Found> m_vFaces;
    qint64 m_nSamples = 0;
    qint64 m_nFirstMs = -1, m_nLastMs = 0;
    QList<FaceDataRow> m_lstPending;
    QHash<int, cv::Mat> m_hashPictures;
    QHash<int, float> m_hashPictureScore;
};
