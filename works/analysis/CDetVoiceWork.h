#pragma once
// Voice detection (type 5): cuts a recording into its voiced stretches, lists them
// in a CSV file and, on request, joins them into one file without the silences.

#include "work/CWorkBase.h"

#include <QVariantList>

class CDetVoiceWork : public CWorkBase
{
    Q_OBJECT
public:
    CDetVoiceWork();

    // Voiced segments {"startTs", "endTs"} between the silence intervals, in order.
    // Stretches not longer than dMinSec are dropped; the last one ends at nDuration + 1,
    // unless the media really ends earlier (dMediaEnd, what ffmpeg decoded, when it
    // is known and below nDuration): then the tail is measured against and ends there.
    static QVariantList ComputeSegments(const QVariantList& silences, double dMinSec, qint64 nDuration,
                                        double dMediaEnd = -1);

protected:
    void DoWork() override;
};
