#pragma once
// zrwork commands of the picture and video filter works and the re-encoding pass.

#include <QStringList>

namespace zrcli {

int CmdBeautify(QStringList args);
int CmdStyle(QStringList args);
int CmdUpscale(QStringList args);
int CmdStyles();
int CmdReencode(QStringList args);

} // namespace zrcli
