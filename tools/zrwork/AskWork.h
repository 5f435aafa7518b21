#pragma once
// The one way zrwork asks a running work a question.

#include "CDetWork.h"

namespace zrcli {

// The work's answer to a question (QueryWork); empty when it gave none.
inline QVariantMap AskWork(CDetWork* work, const QVariantMap& args)
{
    QVariantMap answer;
    work->QueryWork(args, [&answer](const QVariantMap& m) {
        answer = m;
        return true;
    });
    return answer;
}

} // namespace zrcli
