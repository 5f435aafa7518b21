#pragma once
// .pdf to .docx (type 13): the converter's "convert" command, free to run alongside anything.

#include "works/filter/CDFileFltWork.h"

class CDFileFltPdf2Docx : public CDFileFltWork
{
    Q_OBJECT
public:
    CDFileFltPdf2Docx();

protected:
    QStringList Arguments(const QString& in, const QString& out) const override;
};
