#pragma once
// The frame pipeline shared by the video filter works and the re-encoding work: video
// to numbered pictures, one step per picture, pictures back to video, the source's
// sound put back. Each work supplies its frame step, progress values and failure words.

#include "work/CWorkBase.h"

#include "works/filter/CFilter.h"

#include <memory>

// Progress values after each stage and where the output goes; the defaults are the
// video filter works'.
struct FrameStages
{
    bool bFilterFrames = true;  // run the frame step (and report 11..77 and then nAfterFrames)
    int nAfterFrames = 79;
    int nAfterEncode = 89;
    int nAfterAudio = 94;
    int nAfterMerge = 99;
    bool bOutInParams = false;  // "sOutFile" goes to the parameter map, not the result map
    bool bPictureMode = true;   // "bPicFlt" is honoured
};

class CFrameSeqWork : public CWorkBase
{
    Q_OBJECT
public:
    using Stages = FrameStages;

    // Progress to send for frame i of n, or -1 for none: 11 + i / n * 66 on every
    // multiple of n / 66, and on every frame when there are fewer than 66.
    static int FrameProgress(int i, int n);

    ~CFrameSeqWork() override;

protected:
    CFrameSeqWork(int type, const Stages& stages = Stages(), const Guards& guards = VideoGuards());
    // The video filter works' words: a bad input is "videotopic_failed" (or, in picture
    // mode, "picfilter_failed").
    static Guards VideoGuards();

    // The configured filter for the frames, or null when its options or model are bad
    // (or the work has its own step).
    virtual std::unique_ptr<CFilter> CreateFilter() { return nullptr; }
    // Makes the frame step ready; false when it cannot run at all, which fails the run
    // before any frame is decoded.
    virtual bool PrepareFilter();
    // Rewrites the frame file in place; a frame that fails keeps its decoded content.
    virtual void FilterFrame(const QString& file);
    // Writes the filtered picture in to out; false when nothing was written.
    virtual bool FilterPicture(const QString& in, const QString& out);
    // cv::imwrite that never throws; the encoder follows path's suffix.
    static bool WritePicture(const QString& path, const cv::Mat& picture);
    // The prepared filter run on the colour of in, written to out with in's alpha.
    bool FilterFile(const QString& in, const QString& out);

    void DoWork() override;
    // A bad input fails as the first stage would (or silently, as the stages do).
    const char* InputWord() const override;

private:
    void RunVideo(const QString& sFile, const QString& sSaveDir);
    void RunPicture(const QString& sFile, const QString& sSaveDir);

    const Stages m_stages;
    std::unique_ptr<CFilter> m_pFilter;
};
