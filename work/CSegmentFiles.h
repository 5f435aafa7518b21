#pragma once
// The result folder and cut files of the works that cut a recording into stretches
// (voice detection, split by motion): one naming and one cut request for both.

#include <QString>
#include <QVariantMap>

class CSegmentFiles
{
public:
    // saveDir/<file's complete base name> (or prefix + the next counter value when the
    // name holds characters a file name cannot), made when missing; when it cannot be
    // made, saveDir/"zorun<n>" instead, with the "mkdir save dir failed %s use dir %s"
    // line under func. Empty when no folder could be made. *pExisted tells whether the
    // folder was there already; *pName receives the name the files take.
    static QString MakeResultFolder(const QString& saveDir, const QString& file, const QString& prefix,
                                    const char* func, bool* pExisted, QString* pName);
    // "<start as hhmmss>-<k>.mp4" in folder.
    static QString SegmentPath(const QString& folder, double start, int k);
    // The CutSegment request for one stretch: times as 6-digit decimal texts, re-encoded.
    static QVariantMap CutRequest(const QString& input, const QString& outFile, double start, double end);
    // Whole seconds in the file-name form hhmmss.
    static QString FileTime(double seconds);
    // A number in the general form with 6 significant digits.
    static QString General6(double value);
};
