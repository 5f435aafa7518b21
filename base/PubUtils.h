#pragma once
// Static helpers shared by every part of the library: folders, unique names,
// file fingerprints, time texts, capture-device names and model-file tagging.

#include <QString>
#include <QStringList>

namespace WorkBaseData {

class PubUtils
{
public:
    // Upper-case hex MD5 of the file's content (six 512 KiB samples from 5 MiB up);
    // empty when the file cannot be read.
    static QString GetFileFingerprint(const QString& path);
    // "mm:ss" or "hh:mm:ss"; with bFileName the colons are dropped ("000512").
    static QString FormatSeconds(qint64 seconds, bool bHours, bool bFileName);
    // The data folder + "/Temp", created when missing.
    static QString GetTempDir();
    // Recursive removal; true when the folder is gone (or was never there).
    static bool RemoveDir(const QString& path);
    // dir/base.ext, else dir/base_1.ext ... dir/base_99.ext (the last is returned even if it exists).
    static QString MakeUniqueFilePath(const QString& dir, const QString& base, const QString& ext);
    // Creates dir/_tempS_T, unique within the process, and returns its path.
    static QString MakeTempWorkDir(const QString& dir);
    // Names of the video capture devices, in enumeration order; empty when there are none.
    static QStringList EnumVideoDevices();
    // Tagged copies of model files; false (and no destination left) on any failure.
    static bool MarkModeFile(const QString& src, const QString& dst);
    static bool UnmarkModeFile(const QString& src, const QString& dst);

    // Folder settings of the process.
    static QString GetAppDir();
    static void SetAppDir(const QString& dir);
    static QString GetDataDir();
    static void SetDataDir(const QString& dir);
    static QString GetSaveDir();
    static void SetSaveDir(const QString& dir);

    // Files (not folders) of dir, sorted by name; empty when dir is missing.
    static QStringList ListFiles(const QString& dir);
    // a + "/" + b, with no doubled separator.
    static QString JoinPath(const QString& a, const QString& b);
    // name itself, or an empty text when it holds one of \ " < > |
    static QString CheckFileName(const QString& name);
    // Next value of the process-wide work counter; the first call gives 1.
    static int NextWorkCounter();
};

} // namespace WorkBaseData
