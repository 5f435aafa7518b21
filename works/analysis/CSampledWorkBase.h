#pragma once
// What the colour and face works share: one parameter check (the SetParams body both use).

#include "work/CWorkBase.h"

/**
 * Base of CDetFaceWork (type 3); CDetColorWork (type 1), a frame pipeline work, shares
 * only Normalise, which its SetParams calls.
 *
 * Parameters both read (normalised by SetParams; the work runs with, and reports under
 * "user_data", the normalised map; keys it does not know travel on untouched):
 * - "sFile" (text): a video, a picture or, for the colour work, a capture device.
 * - "nStep" (integer, default 0): index into the step table {1, 3, 6, 10, 20, 40, 100}:
 *   every that many frames one frame is analysed. Clamped to 0..6.
 * - "sSaveDir" (text, default ""): where pictures and tables are written.
 */
class CSampledWorkBase : public CWorkBase
{
    Q_OBJECT
public:
    /**
     * The shared body: the parameter map becomes the normalised copy of params.
     * @return false when a value had the wrong type (its default is used) or was out of
     *         range (it is clamped); the work still runs with the normalised map.
     */
    bool SetParams(const QVariantMap& params) override;

    /** The normalised map for a work of the given type; *ok false as SetParams says. */
    static QVariantMap Normalise(const QVariantMap& params, int type, bool* ok);

protected:
    CSampledWorkBase(int type, const Guards& guards);
};
