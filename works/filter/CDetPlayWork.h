#pragma once
// The preview player (type 0): plays a video file or a capture device at the media's
// pace, at a given speed or as fast as it decodes, optionally through a picture filter,
// and keeps the latest frame for the host to fetch.

#include "work/CWorkBase.h"

#include "works/filter/CPlayControl.h"
#include "works/filter/CPlayFrameSlot.h"

class CPlayTimeline;
namespace cv { class VideoCapture; }

/**
 * @brief The preview player.
 *
 * @par Parameters
 * | key | type | meaning |
 * |---|---|---|
 * | "sFile" | text | the video file |
 * | "sDevice" | text | instead of a file: a capture device, its index ("0") or node ("/dev/video0") |
 * | "dSpeed" | number | 1 (default) the media's pace, 2 twice as fast, 0 as fast as frames decode; at most 64 |
 * | "bPause" | bool | start paused: the first frame is shown and held |
 * | "sFilter" | text | "" none, "beautify" (type 6's "nDegree", "nDetails", "nOpacity", "nWhite") or "style" (type 7's "mapStyle") |
 *
 * SetParams normalises as the motion works do: a "dSpeed" of the wrong type or below 0
 * gives 1, one above 64 gives 64, an unknown "sFilter" or a filter that cannot be set
 * up (bad options, a network that does not load) gives no filter; it then returns false.
 * The filter is built on the caller's thread. While the player runs, the new speed and
 * filter are handed over at once and the picture goes on without a restart; the map
 * itself becomes the parameter map at the next StartWork (a run's messages carry the
 * map it started with), so a new input plays from the next run on.
 *
 * SetValue also takes "dSpeed" (a number) and "bPause" (a bool), applied at once and not
 * stored; "user_..." and "test" are stored as by every work.
 *
 * @par Questions (QueryWork), by the request's "type"
 * | request | reply |
 * |---|---|
 * | {"type": "curFrame"} | "desImage" (QImage, RGB888), "nTime" (ms), "nFrame" (from 0), "bPaused", "bSeeking" (a seek is asked and its frame not yet shown), "nAgeUs" (microseconds since the player put it on screen: decoded and filtered, and at a pace, held until its time); false before the first frame |
 * | {"type": "seek", "nTime": ms} | "nTime" and "nFrame" of the frame the player will show (clamped to the media; before the input is open the time as asked and "nFrame" -1); false for a device or without "nTime" |
 * | {"type": "pause"}, {"type": "resume"} | "bPaused" |
 * | {"type": "info"} | "nDuration" (ms, 0 for a device), "nWidth", "nHeight", "dFps", "nFrames" (0 for a device), "bDevice"; false until the input is open |
 *
 * Every reply also holds the request's own entries. An unknown type is answered false.
 * The last frame stays fetchable after the run has ended, until the next run starts.
 * A seek while paused shows the sought frame and holds it; a new filter while paused
 * filters the held frame again.
 *
 * @par Progress and result
 * Progress "nPos" is the position in milliseconds and "nMax" the duration (0 for a
 * device), sent every 250 ms of media and after each seek. The run ends at the end of the
 * media (after the last frame's own time on screen) or on StopWork; "res_data" then
 * holds "nShown" (frames shown), "nTime" (the last position) and "sEnd" ("end", "stop",
 * or "lost" for a device that went away); a stop is no failure. Failure words:
 * "read_input_failed" (file missing, empty, a folder, a stream, or no video in it),
 * "open_device_failed" (no such device, or it does not open or give a first frame),
 * "device_lost" (the device stopped giving frames).
 */
class CDetPlayWork : public CWorkBase
{
    Q_OBJECT
public:
    CDetPlayWork();
    ~CDetPlayWork() override;

    bool SetValue(const QString& key, const QVariant& value) override;
    bool QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply) override;
    bool SetParams(const QVariantMap& params) override;
    bool StartWork() override;
    bool StopWork() override;

    /// The normalised parameters and the filter they name (null for none); *ok false when
    /// anything had to be changed.
    static QVariantMap Normalise(const QVariantMap& params, std::shared_ptr<CFilter>* filter, bool* ok);

protected:
    void DoWork() override;

private:
    // Opens the input; the failure word, or null.
    const char* Open(cv::VideoCapture& capture, bool* device);
    // Decodes the next frame (fresh buffers) into *frame, stamped on the file's time line
    // (a device's, without a rate, counts from startNs); false at the end or on failure.
    bool Read(cv::VideoCapture& capture, const CPlayTimeline& line, PlayFrame* frame, qint64 prevMs, qint64 startNs);
    // Fills frame->picture from frame->source through the filter (the source itself
    // when there is none or it fails).
    void Filter(PlayFrame* frame, const std::shared_ptr<CFilter>& filter);
    void Show(const PlayFrame& frame, bool forceProgress);
    // Plays from the first frame (pending, filtered) until the end, a stop or a lost
    // device: takes the host's requests, seeks, holds while paused, paces; returns "end",
    // "stop" or "lost".
    const char* Play(cv::VideoCapture& capture, const CPlayTimeline& line, PlayState state, PlayFrame pending);

    CPlayControl m_control;
    CPlayFrameSlot m_slot;
    // Kept for the next run while this one plays.
    QVariantMap m_mapPending;
    bool m_bPending = false;
    // Work thread only: progress bookkeeping and what the run did.
    qint64 m_nDuration = 0;
    qint64 m_nLastReport = 0;
    qint64 m_nShown = 0;
    qint64 m_nLastTime = -1;
    qint64 m_nStartNs = 0;
    bool m_bFilterFailed = false;
};
