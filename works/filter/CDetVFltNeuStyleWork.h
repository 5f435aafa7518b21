#pragma once
// Neural style (type 7): every frame of a video, or one picture, through StyleFilter,
// configured with "mapStyle".

#include "works/filter/CFrameSeqWork.h"

class CDetVFltNeuStyleWork : public CFrameSeqWork
{
    Q_OBJECT
public:
    CDetVFltNeuStyleWork();

protected:
    std::unique_ptr<CFilter> CreateFilter() override;
};
