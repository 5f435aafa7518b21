#pragma once
// What the two motion works share: their parameter check (the SetParams body both
// use) and the run of one motion analysis with progress, stop and common results.

#include "work/CWorkBase.h"

class CMoveAnalysis;

/**
 * Base of CDetMoveWork (type 2) and CSplitMoveWork (type 4).
 *
 * Parameters (normalised by SetParams; the work runs with, and reports under
 * "user_data", the normalised map):
 * - "sFile" (text): the video.
 * - "nStep" (integer, default 0): index into the step table {1, 3, 6, 10, 20, 40, 100}:
 *   every that many frames one frame is measured. Clamped to 0..6.
 * - "nLevel" (integer, default kDefaultLevel): a sampled frame moves when its change
 *   measure (0..64) is at least this. Clamped to 0..64.
 * - "nRectX", "nRectY", "nRectW", "nRectH" (integers, default 0): the region measured;
 *   a width or height of 0 reaches the picture's edge. Negative values become 0.
 * - "dMinSec" (number, default 0): shorter events are dropped. Negative becomes 0.
 * - "dGapSec" (number, default kDefaultGap): events less than this apart are joined.
 * - type 4 only: "sSaveDir" (text) and "bMergeVideo" (bool, default false).
 */
class CMoveWorkBase : public CWorkBase
{
    Q_OBJECT
public:
    static constexpr int kDefaultLevel = 2;
    static constexpr double kDefaultGap = 1.0;

    /**
     * The shared body: the parameter map becomes the normalised copy of params.
     * @return false when a value had the wrong type (its default is used) or was out of
     *         range (it is clamped); the work still runs with the normalised map.
     */
    bool SetParams(const QVariantMap& params) override;

    /** The normalised map for a work of the given type; *ok false as SetParams says. */
    static QVariantMap Normalise(const QVariantMap& params, int type, bool* ok);

protected:
    explicit CMoveWorkBase(int type);

    /**
     * Runs analysis with progress mapped to from..to and StopWork honoured between
     * frames; fills "lstEvents", "nFrameStep", "nSamples", "nDecoded" and, with the
     * store, "sModel". False (with "resMsg" set) on failure.
     */
    bool Analyse(CMoveAnalysis& analysis, int from, int to);
};
