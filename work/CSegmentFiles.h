#pragma once
// The result folder and cut files of the works that cut a recording into stretches
// (voice detection, split by motion): one naming and one cut request for both.

#include <QString>
#include <QVariantMap>

class CSegmentFiles
{
public:
    // A new folder saveDir/<file's complete base name> (or prefix + the next counter value
    // when the name holds characters a file name cannot), made exclusively so that no run
    // shares it with another: a name already taken gets "_1" ... "_99" (a counter name the
    // next counter value). When none can be made, saveDir/"zorun<n>" instead, with the
    // "mkdir save dir failed %s use dir %s" line under func. Empty when no folder could be
    // made. *pName receives the name the files take: the folder's own, or for a "zorun"
    // folder the name that could not be made.
    static QString MakeResultFolder(const QString& saveDir, const QString& file, const QString& prefix,
                                    const char* func, QString* pName);
    // "<start as hhmmss>-<k>.mp4" in folder.
    static QString SegmentPath(const QString& folder, double start, int k);
    // The CutSegment request for one stretch: times as 6-digit decimal texts, re-encoded,
    // padded to even sizes when padEven is set.
    static QVariantMap CutRequest(const QString& input, const QString& outFile, double start, double end,
                                  bool padEven = false);
    // Whether file is a video whose width or height is odd (which libx264 refuses).
    static bool HasOddSize(const QString& file);
    // Whole seconds in the file-name form hhmmss.
    static QString FileTime(double seconds);
    // A number in the general form with 6 significant digits.
    static QString General6(double value);
};
