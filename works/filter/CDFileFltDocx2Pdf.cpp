#include "works/filter/CDFileFltDocx2Pdf.h"

#include "work/CDataWaitFiFo.h"

CDFileFltDocx2Pdf::CDFileFltDocx2Pdf()
    : CDFileFltWork(14, ".pdf", "docx2pdf_failed_checkoffice")
{
}

QStringList CDFileFltDocx2Pdf::Arguments(const QString& in, const QString& out) const
{
    return {in, out};
}

void CDFileFltDocx2Pdf::RunConverter(const QString& program, const QStringList& arguments, const QString& workDir)
{
    // The token goes back when this scope ends, however the converter ended.
    const CPyInsToken token;
    CDFileFltWork::RunConverter(program, arguments, workDir);
}
