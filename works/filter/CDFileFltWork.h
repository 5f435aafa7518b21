#pragma once
// Shared shape of the document converters: one external program turns "sFile" into a
// new file in the save folder, and the work is judged only by that file being there.

#include "work/CWorkBase.h"

#include <QStringList>

class CDFileFltWork : public CWorkBase
{
    Q_OBJECT
protected:
    // ext: the output's extension with its dot; failWord: "resMsg" when no output appears.
    CDFileFltWork(int type, const char* ext, const char* failWord);

    // The converter's argument list for one absolute input and output path.
    virtual QStringList Arguments(const QString& in, const QString& out) const = 0;
    // Runs the converter to its end on the work's thread.
    virtual void RunConverter(const QString& program, const QStringList& arguments, const QString& workDir);
    // Why the input may have failed, for the user ("sHint"); empty when nothing is known.
    virtual QString FailureHint(const QString& in) const { Q_UNUSED(in) return QString(); }

    void DoWork() override;

private:
    const char* const m_pExt;
    const char* const m_pFailWord;
};
