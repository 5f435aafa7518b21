#pragma once
// Split by motion (type 4): cuts each stretch where a video moves into a file of its
// own, lists the files in a CSV and, on request, joins them into one file.

#include "works/analysis/CMoveWorkBase.h"

/**
 * Parameters: those of CMoveWorkBase plus "sSaveDir" (the folder under which the
 * result folder is made) and "bMergeVideo" (also join the cut files).
 *
 * The events are found exactly as CDetMoveWork finds them (the stored rows answer when
 * the file is analysed). The result folder is a new folder "sSaveDir"/<file's base name>
 * ("_1" ... "_99" added when taken; made safe for a file name, else "detmove<n>"; when
 * none can be made, "sSaveDir"/"zorun<n>"), so a rerun never mixes with older files.
 * Event k is cut with CutSegment (re-encoded, padded to even sizes for an odd-sized
 * source) to "<start as hhmmss>-<k>.mp4"; the CSV "<name>.csv" lists the files made, one
 * row each: file name, start and end as hhmmss, length in seconds. With "bMergeVideo",
 * "tmp_concat.txt" lists the files made as "file '<absolute path>'" lines (a quote
 * written as '\''), the form ffmpeg's concat reader takes, and they are joined into
 * "azr-<name>.mp4".
 *
 * Results: "lstEvents", "nSamples", "nFrameStep", "nDecoded", "sModel" as CDetMoveWork;
 * "nFindNum" (files cut), "sOutDir" (the result folder), "sOutFile" (the joined file,
 * when it was made). Progress 0..50 while analysing, 50..100 while cutting. "resMsg":
 * those of CDetMoveWork, "save_dir_failed" ("sSaveDir" empty or no result folder can
 * be made), "ffmpeg_not_found", "cut_failed" (a stretch could not be cut: the files
 * that were are kept and listed; none at all leaves no folder), "write_failed" (the CSV
 * could not be written whole), "merge_failed" (the join was asked for and failed).
 */
class CSplitMoveWork : public CMoveWorkBase
{
    Q_OBJECT
public:
    CSplitMoveWork();

    /** One line of a concat list that names path: file '<path>' with ' written as '\''. */
    static QString ConcatLine(const QString& path);

protected:
    void DoWork() override;
};
