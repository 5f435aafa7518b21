#pragma once
// Upscaling (type 8): the external upscaler "sWorkExc" run once per frame, or once on
// one picture, as "-i F -o F" in the folder "sWorkPath".

#include "works/filter/CFrameSeqWork.h"

class CDetVFltWaifu2x : public CFrameSeqWork
{
    Q_OBJECT
public:
    CDetVFltWaifu2x();

protected:
    void FilterFrame(const QString& file) override;
    bool FilterPicture(const QString& in, const QString& out) override;

private:
    void RunUpscaler(const QString& in, const QString& out);
};
