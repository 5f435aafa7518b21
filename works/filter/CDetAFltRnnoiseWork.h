#pragma once
// Re-encoding (type 10): a video decoded to pictures and encoded again with its own
// sound put back; nothing is filtered. Also answers the "detVideoImg" question.

#include "works/filter/CFrameSeqWork.h"

class CDetAFltRnnoiseWork : public CFrameSeqWork
{
    Q_OBJECT
public:
    CDetAFltRnnoiseWork();

    // "detVideoImg": false (0) when it replied with the first frame, true (1) when the
    // file gives no frame (no reply); false for other questions, which it does not handle.
    bool QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply) override;

protected:
    void DoWork() override;
};
