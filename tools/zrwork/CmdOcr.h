#pragma once
// zrwork ocr: the picture text work with the shipped recogniser.

#include <QStringList>

namespace zrcli {

// zrwork ocr FILE --save-dir DIR [--param ...] [--verbose]: prints the finished map, then the text.
int CmdOcr(QStringList args);

} // namespace zrcli
