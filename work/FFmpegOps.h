#pragma once
// The ffmpeg operations the works delegate to: each builds one fixed argument list,
// runs ffmpeg through CProcessWork and judges success by the output file (the cutting,
// joining and silence-removal ones also by ffmpeg's exit: what a failed run left is removed).

#include "work/CProcessWork.h"

#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

class FFmpegOps
{
public:
    // The ffmpeg program: the application folder's "ffmpeg" when that file exists,
    // otherwise the "ffmpeg" found on the PATH.
    static QString FFmpegPath();
    // Whether FFmpegPath names a program that exists (with the platform suffix, if any).
    static bool FFmpegFound();

    static bool ConcatFiles(const QVariantMap& args);
    // How a silence detection went: an empty list alone cannot tell "no silence" from
    // "not a media file" or "ffmpeg was killed".
    struct DetectInfo
    {
        // A non-zero exit means ffmpeg refused the input.
        CProcessWork::Outcome outcome = CProcessWork::Outcome::NotStarted;
        // Seconds ffmpeg actually decoded (its last "time="), -1 when it said none.
        double dDecoded = -1;
    };
    // A list of {"startTs", "endTs"} maps (seconds, doubles); pInfo, when given, says
    // how the run went.
    static QVariant DetectSilence(const QVariantMap& args, DetectInfo* pInfo = nullptr);
    // A copied stream the output cannot hold is encoded to AAC instead; false (and no
    // file left) when neither gave a non-empty output.
    static bool ExtractAudio(const QVariantMap& args);
    static bool MergeAudioVideo(const QVariantMap& args);
    static void JpgSeqToVideo(const QString& picDir, const QString& outFile);
    static bool PngSeqToVideo(const QVariantMap& args);
    static bool RemoveSilence(const QVariantMap& args);
    // "bPadEven" true pads a re-encoded cut to even sizes (for odd-sized sources).
    static bool CutSegment(const QVariantMap& args);
    static bool VideoToPngSeq(const QVariantMap& args);

    // What a media file holds, from ffmpeg's listing of its streams; bKnown false when
    // ffmpeg could not open it (or could not run).
    struct Streams
    {
        bool bKnown = false;
        bool bVideo = false;
        bool bAudio = false;
    };
    static Streams ProbeStreams(const QString& file);
    static Streams ParseStreams(const QString& report);

    // The silence intervals in ffmpeg's silencedetect report (its standard error).
    static QVariantList ParseSilence(const QString& report);
    // Whether ffmpeg's report says it could not write its output whole (a full disk):
    // it still exits with 0 then.
    static bool ReportsWriteError(const QString& report);
    // The last "time=HH:MM:SS.ss" of ffmpeg's progress lines in seconds, or -1.
    static double ParseDecodedSeconds(const QString& report);
};
