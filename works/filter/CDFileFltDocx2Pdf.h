#pragma once
// .docx to .pdf (type 14): one conversion at a time in the whole process, through the
// "py ins" token.

#include "works/filter/CDFileFltWork.h"

class CDFileFltDocx2Pdf : public CDFileFltWork
{
    Q_OBJECT
public:
    CDFileFltDocx2Pdf();

protected:
    QStringList Arguments(const QString& in, const QString& out) const override;
    void RunConverter(const QString& program, const QStringList& arguments, const QString& workDir) override;
};
