#pragma once
// Motion detection (type 2): finds the stretches of a video where the picture moves
// and keeps the per-frame change measure in the file's model database.

#include "works/analysis/CMoveWorkBase.h"

/**
 * Parameters: those of CMoveWorkBase ("sFile", "nStep", "nLevel", "nRectX/Y/W/H",
 * "dMinSec", "dGapSec").
 *
 * Every step-th frame is decoded to a picture and measured with CFrameDiff (frames in
 * between are only grabbed, never converted). When the host has called InitModelStore,
 * the file's catalogue row of type 2 is found or made, width and height are written to
 * it before the first frame and the duration (milliseconds) once the file was read to its
 * end, and one MoveDataRow per sampled frame goes to its model file (id = frame number,
 * time = the frame's own time stamp in milliseconds, diff = the measure, "psnr" = the
 * block of CMoveAnalysis::Block: magic "ZRM1", PSNR in dB against the previous sample,
 * the 64-bit signature, the step, the region, and an end mark on the last row), in
 * transactions of up to 500 rows. A run that was stopped or crashed resumes after
 * GetDataMaxKey; a run on a file whose model is complete reads the rows and decodes
 * nothing. A model made with another step or region is left alone and the file is
 * measured without the store.
 *
 * Results: "lstEvents" (list of {"startTs", "endTs"} in seconds), "nFindNum" (their
 * number), "nSamples" (frames measured), "nFrameStep" (frames between samples),
 * "nDecoded" (frames decoded by this run), "sModel" (the model file, with the store).
 * Progress 0..100 by frames read. "resMsg": "read_input_failed" (missing, empty, not a
 * regular file, or no video stream OpenCV can decode), "store_write_failed" (the
 * catalogue or the model cannot be read or written; the rows of earlier transactions
 * stay and a later run resumes after them), "task_stopped" (StopWork; the rows
 * measured so far are stored, but the newest, which the next run measures again).
 *
 * QueryWork answers {"type": "detVideoImg", "file": path} with the file's first frame.
 */
class CDetMoveWork : public CMoveWorkBase
{
    Q_OBJECT
public:
    CDetMoveWork();

    /**
     * "detVideoImg": calls reply with args plus "desImage" (the first frame) and returns
     * false; returns true, without calling reply, when the file gives no frame; false
     * for any other "type".
     */
    bool QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply) override;

protected:
    void DoWork() override;
};
