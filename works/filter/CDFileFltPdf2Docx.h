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
    // A password-protected PDF cannot be imported: says so.
    QString FailureHint(const QString& in) const override;

public:
    // Whether the PDF at path declares an encryption dictionary ("/Encrypt" in its first
    // or last 64 kB, where the trailers are).
    static bool IsProtected(const QString& path);
};
