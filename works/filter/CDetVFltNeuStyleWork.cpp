#include "works/filter/CDetVFltNeuStyleWork.h"

#include "works/filter/StyleFilter.h"

CDetVFltNeuStyleWork::CDetVFltNeuStyleWork()
    : CFrameSeqWork(7)
{
}

std::unique_ptr<CFilter> CDetVFltNeuStyleWork::CreateFilter()
{
    auto filter = std::make_unique<StyleFilter>();
    // A model that does not load is logged, and the run fails before any frame.
    if (filter->SetFilter(m_mapParams.value(QStringLiteral("mapStyle")).toMap()) != 0)
        return nullptr;
    return filter;
}
