#pragma once
// Beautify (type 6): every frame of a video, or one picture, through BeautifyFilter,
// configured with the work's own parameter map.

#include "works/filter/CFrameSeqWork.h"

class CDetVFltResGainWork : public CFrameSeqWork
{
    Q_OBJECT
public:
    CDetVFltResGainWork();

protected:
    std::unique_ptr<CFilter> CreateFilter() override;
};
