#pragma once
// The ffmpeg operations the works delegate to: each builds one fixed argument list,
// runs ffmpeg through CProcessWork and judges success by the output file.

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
    // A list of {"startTs", "endTs"} maps (seconds, doubles). pOk, when given, tells
    // whether ffmpeg ran and exited with 0 (an empty list alone cannot tell "no
    // silence" from "not a media file").
    static QVariant DetectSilence(const QVariantMap& args, bool* pOk = nullptr);
    static bool ExtractAudio(const QVariantMap& args);
    static bool MergeAudioVideo(const QVariantMap& args);
    static void JpgSeqToVideo(const QString& picDir, const QString& outFile);
    static bool PngSeqToVideo(const QVariantMap& args);
    static bool RemoveSilence(const QVariantMap& args);
    static bool CutSegment(const QVariantMap& args);
    static bool VideoToPngSeq(const QVariantMap& args);

    // The silence intervals in ffmpeg's silencedetect report (its standard error).
    static QVariantList ParseSilence(const QString& report);
};
