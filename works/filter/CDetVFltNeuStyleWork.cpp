#include "works/filter/CDetVFltNeuStyleWork.h"

#include "works/filter/StyleFilter.h"

CDetVFltNeuStyleWork::CDetVFltNeuStyleWork()
    : CFrameSeqWork(7)
{
}

std::unique_ptr<CFilter> CDetVFltNeuStyleWork::CreateFilter()
{
    auto filter = std::make_unique<StyleFilter>();
    // A model that does not load is logged; each frame then keeps its content.
    filter->SetFilter(m_mapParams.value(QStringLiteral("mapStyle")).toMap());
    return filter;
}
