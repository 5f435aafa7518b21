#pragma once
// Speech to text (type 12): extracts the sound as 16 kHz PCM, runs the recogniser of
// the tool folder on it and converts its text to simplified script.

#include "work/CWorkBase.h"

class CDetAFltAudio2Text : public CWorkBase
{
    Q_OBJECT
public:
    CDetAFltAudio2Text();

protected:
    void DoWork() override;
    // As a failed sound extraction: no word, no "sOutFile".

private:
    // Copies the text whole into to (which may exist), or leaves to empty and says false.
    static bool CopyText(const QString& from, const QString& to);
};
