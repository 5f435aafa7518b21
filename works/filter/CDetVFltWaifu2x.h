#pragma once
// Upscaling (type 8): the external upscaler "sWorkExc" run once per frame, or once on
// one picture, as "-i F -o F" in the folder "sWorkPath". Pictures the engine cannot
// take as they are (alpha, BMP, TIFF) go through an opaque PNG.

#include "works/filter/CFrameSeqWork.h"

class CDetVFltWaifu2x : public CFrameSeqWork
{
    Q_OBJECT
public:
    CDetVFltWaifu2x();

protected:
    bool PrepareFilter() override;
    void FilterFrame(const QString& file) override;
    bool FilterPicture(const QString& in, const QString& out) override;

private:
    QString ProgramPath() const;
    void RunUpscaler(const QString& in, const QString& out);
    // Upscales in to out, with scratch files in the folder scratch.
    bool Upscale(const QString& in, const QString& out, const QString& scratch);
};
