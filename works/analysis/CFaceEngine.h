#pragma once
// The face engine: dlib's frontal face detector, 5-point alignment and 128-d ResNet
// descriptor, loaded once per model folder and shared by every face work of the process.

#include <QMutex>
#include <QString>
#include <QVector>

#include <opencv2/core.hpp>

#include <array>
#include <memory>

/**
 * Finds faces in a BGR picture and describes each by 128 numbers; two faces of one
 * person lie less than kSameFace apart (Distance). dlib stays inside the source file.
 * Calls on one engine are serialised: dlib's network keeps its buffers between calls.
 */
class CFaceEngine
{
public:
    static constexpr int kDims = 128;
    using Descriptor = std::array<float, kDims>;
    /** The distance below which two descriptors are taken for one person. */
    static constexpr float kSameFace = 0.6f;
    /** The smallest face the detector finds in a picture it is given unscaled. */
    static constexpr int kDetectorWindow = 80;
    /** The two model files the engine's folder must hold. */
    static const char* const kShapeModel;
    static const char* const kDescriptorModel;

    struct Face
    {
        cv::Rect box;                          // in the picture's pixels
        std::array<cv::Point2f, 5> landmarks;  // dlib's 5-point order: eye corners, nose
        float score = 0;                       // the detector's confidence
        Descriptor descriptor{};
    };

    /** Time spent by the three stages since the engine was made, in milliseconds. */
    struct Timing
    {
        double detectMs = 0, alignMs = 0, describeMs = 0;
    };

    /**
     * The engine of folder, loaded on its first use. Null when a model file is missing
     * (*error "face_model_missing") or does not load (*error "face_model_failed").
     */
    static std::shared_ptr<CFaceEngine> Get(const QString& folder, QString* error);

    ~CFaceEngine();

    /**
     * Faces of at least minFace pixels (the picture is scaled so that such a face meets
     * the detector's window), largest first.
     */
    QVector<Face> Find(const cv::Mat& bgr, int minFace);
    /** Detection alone (for measuring), boxes in the picture's pixels. */
    QVector<cv::Rect> Detect(const cv::Mat& bgr, int minFace);
    Timing Timings() const;

    static float Distance(const Descriptor& a, const Descriptor& b);

private:
    struct Impl;
    CFaceEngine();

    mutable QMutex m_lock;
    std::unique_ptr<Impl> m_pImpl;
    Timing m_timing;
};
