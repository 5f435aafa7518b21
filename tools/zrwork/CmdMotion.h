#pragma once
// zrwork's motion commands: "motion" (detection, optional plot) and "split".

#include <QStringList>

namespace zrcli {

int CmdMotion(QStringList args);
int CmdSplit(QStringList args);

} // namespace zrcli
