#pragma once
// The camera colour work (type 1): measures the colour of a video, a picture or a capture
// device frame by frame and, on request, writes it white-balanced through the frame pipeline.

#include "works/filter/CFrameSeqWork.h"

/**
 * @brief Colour measure and cast correction (type 1).
 *
 * Parameters (normalised by CSampledWorkBase::Normalise, shared with the face work; the
 * run reports the normalised map as "user_data"):
 * - "sFile" (text): a video, a picture (judged by its content) or a capture device: an
 *   index "0".."99" or, on Linux, "/dev/videoN" (a file called "0" is named "./0").
 * - "nStep" (integer, default 0, 0..6): index into the step table {1, 3, 6, 10, 20, 40,
 *   100}: every that many frames one is measured.
 * - "nColours" (integer, default 3, 1..8): dominant colours kept per frame and summary.
 * - "dSeconds" (number, default 0): measure only this many seconds from the first
 *   sample; 0 = to the end (a device then runs until StopWork).
 * - "sSaveDir" (text, default ""): where the timeline CSV (and the fixed file) go; made
 *   when missing. Without it nothing is written.
 * - "bFix" (bool, default false): also write the input white-balanced (grey world,
 *   OpenCV xphoto) into "sSaveDir" through the frame pipeline: a picture keeps its suffix,
 *   a video becomes an H.264 .mp4 at 15 frames a second with its sound. The run sets
 *   "bPicFlt" in its parameter map to say which. Not done for a capture device.
 *
 * Per sampled frame (CColourMeasure): mean brightness, colour cast (mean a*, b*),
 * grey-world gains, clipped shadows and highlights, dominant colours. Times are each
 * frame's own timestamp.
 *
 * Results: the means over all samples: "dBrightness" (0..255), "dCastA", "dCastB",
 * "sCast" ("none", "magenta", "green", "yellow", "blue"), "dGainR", "dGainG", "dGainB",
 * "dShadows", "dHighlights" (shares 0..1), "lstColours" ({"sColour": "#rrggbb",
 * "dShare"}, largest first); "nSamples", "nDecoded", "nFrameStep"; with "sSaveDir",
 * "sCsvFile": "<sSaveDir>/<name>-colour.csv" (a device's name is "cameraN" or "videoN";
 * "_1".."_99" added when taken), one row a second (CColourMeasure::TimelineCsv),
 * written whole or not at all; with "bFix", "sOutFile".
 *
 * Progress: 0..99 by frames read (a device with "dSeconds": by time); with "bFix" the
 * pipeline's own values follow (1, 11..77, 79, 89, 94, 99 for a video).
 *
 * Failure words: "read_input_failed" (missing, empty, a folder, not a picture or video,
 * no frame decoded: audio only), "open_device_failed" (the device does not open or gives
 * no frame), "save_dir_failed" ("sSaveDir" cannot be made or written, or is empty with
 * "bFix"), "write_result_failed" (the CSV cannot be written), "task_stopped" (StopWork on
 * a file: nothing is written; on a device StopWork ends the measure normally), and the
 * frame pipeline's words for the fix ("videotopic_failed", "getaudio_failed" for a video
 * without sound, ...), after the CSV is written.
 */
class CDetColorWork : public CFrameSeqWork
{
    Q_OBJECT
public:
    CDetColorWork();

    /** CSampledWorkBase::Normalise for type 1; false when a value was of the wrong type or clamped. */
    bool SetParams(const QVariantMap& params) override;

protected:
    void DoWork() override;
    const char* InputWord() const override;
    std::unique_ptr<CFilter> CreateFilter() override;

private:
    // The CSV into saveDir; false (with the failure reported) when it cannot be written.
    bool WriteTimeline(const QString& saveDir, const QString& name, const QByteArray& csv);
};
