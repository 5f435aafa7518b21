#pragma once
// zrwork's document commands: "pdf" (.docx to .pdf) and "docx" (.pdf to .docx).

#include <QStringList>

namespace zrcli {

int CmdPdf(QStringList args);
int CmdDocx(QStringList args);

} // namespace zrcli
