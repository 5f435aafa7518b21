#include "works/analysis/CDetMoveWork.h"

#include "work/CVideoQuery.h"
#include "works/analysis/CMoveAnalysis.h"

CDetMoveWork::CDetMoveWork()
    : CMoveWorkBase(2)
{
}

bool CDetMoveWork::QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply)
{
    // The status integer of the question is the bool: 0 (answered) reads as false.
    return CVideoQuery::Answer(args, std::move(reply)) == 1;
}

void CDetMoveWork::DoWork()
{
    bool ok = true;
    CMoveAnalysis analysis(Normalise(m_mapParams, GetType(), &ok));
    if (!Analyse(analysis, 0, 100))
        return;
    m_mapResult.insert(QStringLiteral("nFindNum"), m_mapResult.value(QStringLiteral("lstEvents")).toList().size());
}
