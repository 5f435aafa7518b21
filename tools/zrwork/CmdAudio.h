#pragma once
// zrwork's audio commands: speech to text ("text") and silence removal ("unsilence").

#include <QStringList>

namespace zrcli {

// zrwork text FILE --save-dir DIR: prints the finished map, then the recognised text.
int CmdText(QStringList args);
// zrwork unsilence FILE --save-dir DIR: prints the finished map.
int CmdUnsilence(QStringList args);

} // namespace zrcli
