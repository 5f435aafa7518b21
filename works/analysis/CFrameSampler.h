#pragma once
// Hands an analysis every step-th frame of a video, a picture's one frame, or a capture
// device's frames, each with its own time; skipped frames are never converted.

#include <QString>

#include <opencv2/core.hpp>

#include <memory>

namespace cv {
class VideoCapture;
}

/**
 * @brief Sampled frames of one input, opened by name.
 *
 * Times are each frame's own timestamp (the decoder's presentation time, or a device's
 * buffer time made relative to its first frame), in milliseconds. A timestamp that is
 * missing or does not grow is replaced by the previous one plus one frame interval.
 */
class CFrameSampler
{
public:
    enum class Kind { None, Video, Picture, Device };

    /** @param step frames between samples (1 = every frame). */
    explicit CFrameSampler(int step);
    ~CFrameSampler();

    /**
     * Opens @p input: a capture device name (PubUtils::IsCaptureDeviceName), a picture
     * OpenCV reads, or a video. Returns "" or a failure word: "read_input_failed" (not
     * a usable file, or neither picture nor video), "open_device_failed".
     */
    QString Open(const QString& input);

    /** The next sampled frame; false at the end of the input. */
    bool Next(cv::Mat& frame, qint64* id, qint64* timeMs);

    Kind GetKind() const { return m_enKind; }
    int Step() const { return m_nStep; }
    /** Frames read so far (sampled or not). */
    qint64 Decoded() const { return m_nRead; }
    /** 0..99 by frames read against the input's frame count; 0 when that is unknown. */
    int Progress() const;

private:
    const int m_nStep;
    Kind m_enKind = Kind::None;
    std::unique_ptr<cv::VideoCapture> m_pCapture;
    cv::Mat m_picture;
    qint64 m_nRead = 0;
    qint64 m_nFrames = 0;
    double m_dInterval = 40;
    qint64 m_nLastTime = -1;
    double m_dFirstDeviceTime = -1;
};
