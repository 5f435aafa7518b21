#pragma once
// Silence removal (type 9): writes the input's sound without its long silences to an
// .mp3 file, whatever the kind of the input.

#include "work/CWorkBase.h"

class CDetAFltRnSilenceWork : public CWorkBase
{
    Q_OBJECT
public:
    CDetAFltRnSilenceWork();

protected:
    void DoWork() override;
};
