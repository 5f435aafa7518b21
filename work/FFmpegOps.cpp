#include "work/FFmpegOps.h"

// Placeholder until the operations land.
QString FFmpegOps::FFmpegPath() { return QStringLiteral("ffmpeg"); }
bool FFmpegOps::ConcatFiles(const QVariantMap&) { return false; }
QVariant FFmpegOps::DetectSilence(const QVariantMap&, bool*) { return QVariantList(); }
bool FFmpegOps::ExtractAudio(const QVariantMap&) { return false; }
bool FFmpegOps::MergeAudioVideo(const QVariantMap&) { return false; }
void FFmpegOps::JpgSeqToVideo(const QString&, const QString&) {}
bool FFmpegOps::PngSeqToVideo(const QVariantMap&) { return false; }
bool FFmpegOps::RemoveSilence(const QVariantMap&) { return false; }
bool FFmpegOps::CutSegment(const QVariantMap&) { return false; }
bool FFmpegOps::VideoToPngSeq(const QVariantMap&) { return false; }
QVariantList FFmpegOps::ParseSilence(const QString&) { return QVariantList(); }
