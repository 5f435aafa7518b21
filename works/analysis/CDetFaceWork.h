#pragma once
// Face detection and recognition (type 3): finds the faces of a video or picture, groups
// them into people, names the people it knows, and keeps every sampled frame's face marks
// in the file's model database, so that later questions need no decoding.

#include "works/analysis/CSampledWorkBase.h"

/**
 * Parameters (normalised by CSampledWorkBase::SetParams):
 * - "sFile" (text): a video, or one picture.
 * - "nStep" (integer, default 0): index into the step table {1, 3, 6, 10, 20, 40, 100}.
 * - "nMinFace" (integer, default 80, 20..4096): the smallest face looked for, in pixels;
 *   the detector sees the frame scaled by 80 / nMinFace, so larger values run faster.
 * - "sPeople" (text, default ""): a folder with one sub-folder per known person, named
 *   after them, holding a few pictures of them (.jpg, .jpeg, .png, .bmp, .webp); the
 *   largest face of each picture stands for that person.
 * - "sSaveDir" (text, default ""): when given, one picture per person is written there.
 * - "sWorkPath" (text, default ""): the folder of the engine's two model files; empty:
 *   worktools/faces beside the application (<app>/../worktools/faces,
 *   <app>/../lib/zrworklib/worktools/faces or <app>/worktools/faces).
 * - "dMaxDist" (number, default 0.6, 0..2): two faces nearer than this are one person.
 * - "dGapSec" (number, default 1): a person's appearances less apart than this, or than
 *   1.5 sampling intervals, make one stretch.
 *
 * Each sampled frame gives one FaceDataRow (id = frame number, time = the frame's own
 * time stamp in milliseconds, one 576-byte CFaceMark per face) in the model of the
 * file's catalogue row of kind 1; width and height go to that row before the first
 * frame, the duration when the file was read to its end. Rows go in transactions of up
 * to 500; a stopped run resumes after GetDataMaxKey; a complete model answers the next
 * run without decoding (its face pictures come only from a run that reads frames). A
 * model made with another step or minimum face is left alone and the file is analysed
 * without the store.
 *
 * Results: "nFaces" (faces found), "nSamples" (frames analysed), "nFrameStep",
 * "nDecoded" (frames decoded by this run), "sModel" (with the store), "nPeople" and
 * "lstPeople": per person, in order of first appearance, {"nPerson" (its index in the
 * file's marks), "sName" (the known person's name, or "" when unknown), "dNameDist"
 * (distance to their nearest picture, -1 when unknown), "nFaces", "lstStretches"
 * ({"startTs", "endTs"} in seconds, from the first to the last sampled frame the person
 * is seen in), "sPicture" (the saved picture, when "sSaveDir" is given and this run read
 * the person's frames)}. Progress 0..100 by frames read; a stop between frames.
 *
 * "resMsg": "read_input_failed" (missing, empty, not a regular file, no video stream
 * OpenCV decodes: audio-only files too), "face_model_missing" (a model file is not in
 * the folder), "face_model_failed" (a model file does not load), "people_read_failed"
 * ("sPeople" is given but is not a readable folder), "save_dir_failed" ("sSaveDir" cannot
 * be made, or a picture cannot be written into it), "store_write_failed" (the catalogue
 * or the model cannot be read or written; earlier transactions stay and the next run
 * resumes after them), "task_stopped" (the rows of the frames analysed so far are
 * stored; no pictures are written).
 *
 * The closed face library of the hub is not used: this work has its own engine.
 */
class CDetFaceWork : public CSampledWorkBase
{
    Q_OBJECT
public:
    CDetFaceWork();

    /**
     * Questions answered on the caller's thread, from stored rows or one picture; the
     * reply map always holds "resMsg" ("" when answered). Returns true when "resMsg" is
     * empty, false for an unknown "type" (reply not called) or a failure.
     *
     * {"type": "detFaceImg", "file": picture, ["nMinFace": n], ["sWorkPath": folder]}
     *   reply: {"resMsg", "nFaces", "lstFaces": [{"nX", "nY", "nW", "nH", "dScore",
     *   "lstDesc": 128 numbers}], largest first}. Words: "read_input_failed" (the picture
     *   cannot be read), "face_model_missing", "face_model_failed".
     *
     * {"type": "findFace", "file": analysed file or "sModel": its model file,
     *  "image": picture (its largest face) or "lstDesc": 128 numbers,
     *  ["dMaxDist": limit, default 0.6], ["dGapSec": 1], ["nMinFace"], ["sWorkPath"]}
     *   reply: {"resMsg", "sModel", "dDistance" (nearest face of the file, -1 when it has
     *   none), "lstTimes" (seconds of the sampled frames where a face within the limit
     *   is), "lstStretches" ({"startTs", "endTs"})}. Nothing is decoded but the picture.
     *   Words: those of detFaceImg, "face_not_found" (no face in the picture),
     *   "face_not_analysed" (the file has no catalogue row or model of kind 1, or the
     *   store is not open), "store_write_failed" (the model cannot be read).
     */
    bool QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply) override;

    /** The engine's folder for normalised params ("sWorkPath" or the default places). */
    static QString FacesFolder(const QVariantMap& params);

protected:
    void DoWork() override;
};
