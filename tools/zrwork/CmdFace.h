#pragma once
// zrwork's face commands: "faces" (who is in a file, and when) and "who" (where a face
// appears among the analysed files).

#include <QStringList>

namespace zrcli {

int CmdFaces(QStringList args);
int CmdWho(QStringList args);

} // namespace zrcli
