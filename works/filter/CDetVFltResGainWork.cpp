#include "works/filter/CDetVFltResGainWork.h"

#include "works/filter/BeautifyFilter.h"

CDetVFltResGainWork::CDetVFltResGainWork()
    : CFrameSeqWork(6)
{
}

std::unique_ptr<CFilter> CDetVFltResGainWork::CreateFilter()
{
    auto filter = std::make_unique<BeautifyFilter>();
    // Bad options are logged; each frame then fails and keeps its content.
    filter->SetFilter(m_mapParams);
    return filter;
}
