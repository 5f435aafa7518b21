#pragma once
// Joins the voice work's cut segments into one file, in the order of its CSV, through a
// list that ffmpeg's concat reader accepts (the library's own list holds bare names).

#include <QString>
#include <QStringList>

class CSegmentJoiner
{
public:
    // The segment files listed by the folder's CSV (rows "k,start,end,duration" name
    // "<start>-<k>.mp4"), in its order, leaving out those that were not cut.
    static QStringList SegmentFiles(const QString& folder);
    // One "file '<path>'" line per file, single quotes escaped for the concat reader.
    static QString ConcatList(const QStringList& files);
    // Joins files into outFile with ffmpeg (stream copy); "" on success, else why not.
    // outFile appears only when complete.
    static QString Join(const QStringList& files, const QString& outFile, const QString& ffmpeg);
};
