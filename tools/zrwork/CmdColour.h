#pragma once
// zrwork's "colour" command: the colour measure of a file or capture device, optionally fixed.

#include <QStringList>

namespace zrcli {

int CmdColour(QStringList args);

} // namespace zrcli
