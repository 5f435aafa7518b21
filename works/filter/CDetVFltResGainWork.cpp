#include "works/filter/CDetVFltResGainWork.h"

#include "works/filter/BeautifyFilter.h"

CDetVFltResGainWork::CDetVFltResGainWork()
    : CFrameSeqWork(6)
{
}

std::unique_ptr<CFilter> CDetVFltResGainWork::CreateFilter()
{
    auto filter = std::make_unique<BeautifyFilter>();
    // Bad options are logged, and the run fails before any frame.
    if (filter->SetFilter(m_mapParams) != 0)
        return nullptr;
    return filter;
}
