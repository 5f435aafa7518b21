#include "works/filter/CDFileFltPdf2Docx.h"

CDFileFltPdf2Docx::CDFileFltPdf2Docx()
    : CDFileFltWork(13, ".docx", "task_failed")
{
}

QStringList CDFileFltPdf2Docx::Arguments(const QString& in, const QString& out) const
{
    return {QStringLiteral("convert"), in, out};
}
