#pragma once
// Picture to text (type 15): hands the picture to the text recogniser and keeps the lines
// it read in a .txt file in the save folder.

#include "work/CWorkBase.h"

#include <QStringList>

class QTextStream;

class CDPicFltPic2Text : public CWorkBase
{
    Q_OBJECT
public:
    CDPicFltPic2Text();

    // The recogniser's command line for the picture at imagePath.
    static QStringList RecogniserArguments(const QString& imagePath);
    // Copies every line after the first one containing "FullDetectTime"; copies nothing
    // when no line contains it.
    static void CopyResultLines(QTextStream& in, QTextStream& out);

protected:
    void DoWork() override;

private:
    // Sets "resMsg" and logs "<what> <path>" at the Warn level.
    void Stop(const char* resMsg, const char* what, const QString& path);
};
