#pragma once
// Static helpers shared by every part of the library: folders, unique names,
// file fingerprints, time texts, capture-device names and model-file tagging.

#include <QString>
#include <QStringList>

namespace WorkBaseData {

/**
 * @brief Process-wide utility functions; the only state is a few folder settings.
 *
 * Every function is safe to call from any thread.
 *
 * @par Mode-file tag format (version 1)
 * A tagged model file is a 32-byte header followed by the source bytes:
 * | Offset | Size | Content |
 * |---|---|---|
 * | 0  | 6  | the magic text "zrmode" (no terminating zero) |
 * | 6  | 1  | format version, 1 |
 * | 7  | 1  | reserved, 0 |
 * | 8  | 8  | length of the source in bytes, unsigned little-endian |
 * | 16 | 16 | MD5 digest of the untransformed source bytes |
 * | 32 | length | the source bytes, byte i XOR-ed with mask[i % 16] |
 *
 * mask = 5A 52 4D 4F 44 45 9C 37 E1 0B 66 D4 2F 81 B3 78 (hex). All other header
 * values make the file untagged.
 *
 * The XOR keeps a tagged model from loading as a plain model; the checksum lets
 * UnmarkModeFile() reject a damaged or truncated file instead of handing back garbage.
 */
class PubUtils
{
public:
    /**
     * @brief Content fingerprint used as the catalogue key.
     *
     * Files of 5242880 bytes and more are sampled: six 524288-byte blocks at 0, size/5,
     * 2*size/5, 3*size/5, 4*size/5 and size - 524288; smaller files are hashed whole.
     * @return the upper-case hex MD5 (32 characters), or an empty text when the file
     *         cannot be read.
     */
    static QString GetFileFingerprint(const QString& path);

    /**
     * @brief Time text "mm:ss", or "hh:mm:ss" when there are hours or @p bHours is set.
     * @param bFileName drop the colons ("000512"), for use in file names.
     */
    static QString FormatSeconds(qint64 seconds, bool bHours, bool bFileName);

    /// The data folder + "/Temp", created with its parents when missing.
    static QString GetTempDir();

    /**
     * @brief Removes a folder and everything in it, hidden and read-only entries included.
     *
     * Stops at the first entry that cannot be removed (logged at Warn) and leaves the
     * rest in place. Symbolic links are removed, never followed.
     * @return true when the folder is gone, including when it never existed.
     */
    static bool RemoveDir(const QString& path);

    /**
     * @brief First free name among dir/base.ext, dir/base_1.ext ... dir/base_99.ext.
     *
     * The name is reserved at once: an empty file is made under it exclusively, so two
     * works choosing together never get the same name. When all of them exist the base_99
     * name is returned although it exists (not reserved). When dir cannot be written, the
     * first name that does not exist comes back unreserved.
     * @param pReserved set to whether the returned file was made here (and so is the
     *        caller's to remove when it fails).
     */
    static QString MakeUniqueFilePath(const QString& dir, const QString& base, const QString& ext,
                                      bool* pReserved = nullptr);

    /**
     * @brief Whether @p path holds a usable output: a non-empty, readable regular file.
     *
     * An empty file, or one a tool left when it failed, is no result: when @p path is not
     * usable, the regular file standing there (if any) is removed, so nothing half-written
     * stays behind.
     */
    static bool KeepOutput(const QString& path);

    /**
     * @brief Creates and returns dir/_tempS_T: S is a run number fixed for the process,
     *        T a millisecond stamp that is never handed out twice.
     */
    static QString MakeTempWorkDir(const QString& dir);

    /**
     * @brief Names of the video capture devices in enumeration order; empty when there
     *        are none or they cannot be enumerated.
     *
     * Windows: the "FriendlyName" of each video input device. Linux: the card name of
     * each V4L2 capture node /dev/videoN, in the order of N.
     */
    static QStringList EnumVideoDevices();

#if defined(Q_OS_LINUX)
    /// EnumVideoDevices() over the videoN nodes of @p devDir instead of /dev.
    static QStringList EnumVideoDevicesIn(const QString& devDir);
#endif

    /**
     * @brief Writes a tagged copy of the model file @p src to @p dst (format above).
     *
     * A source that already carries a valid tag is refused, so a model is never
     * wrapped twice by mistake.
     * @return false on any failure; @p dst is then left as it was (no partial file).
     */
    static bool MarkModeFile(const QString& src, const QString& dst);

    /**
     * @brief Writes the original model bytes of the tagged file @p src to @p dst.
     * @return false for an untagged, damaged or truncated source or an unwritable
     *         destination; @p dst is then left as it was.
     */
    static bool UnmarkModeFile(const QString& src, const QString& dst);

    /// Folder of the host executable unless set; ffmpeg and other tools are looked up there.
    static QString GetAppDir();
    static void SetAppDir(const QString& dir);
    /// The host's data folder ("appData" of the start-up map).
    static QString GetDataDir();
    static void SetDataDir(const QString& dir);
    /// The work save folder given to InitModelStore.
    static QString GetSaveDir();
    static void SetSaveDir(const QString& dir);

    /// Whether @p path names a regular, readable, non-empty file: folders, FIFOs and
    /// devices are refused at once, since a tool reading them may block for good.
    static bool IsUsableInput(const QString& path);
    /// Whether @p path names a FIFO, device or socket: something that exists and is
    /// neither a regular file nor a folder.
    static bool IsStreamFile(const QString& path);
    /// Whether @p name names a capture device rather than a file: a device index
    /// ("0" to "99"), or on Linux a V4L2 node "/dev/videoN". "./0" names a file.
    static bool IsCaptureDeviceName(const QString& name);
    /// Files (not folders) of @p dir, sorted by name; empty when @p dir is missing.
    static QStringList ListFiles(const QString& dir);
    /**
     * @brief The files (not folders, not hidden) of @p dir in text order of their names.
     *
     * Frame pictures named with eight-digit numbers ("00000001.png") come out in frame
     * order. Other names also come in plain text order, case-sensitive, so "10.png"
     * comes before "9.png".
     * @param flag 1: absolute paths; any other value: bare file names.
     * @return empty when @p dir is missing or empty.
     */
    static QStringList GetFileList(const QString& dir, int flag);
    /// a + "/" + b, with no doubled separator.
    static QString JoinPath(const QString& a, const QString& b);
    /// @p name itself, or an empty text when it holds one of \ " < > |
    static QString CheckFileName(const QString& name);
    /// @p path made absolute against the current folder (so a leading '-' can never read
    /// as a program's option); an empty text stays empty.
    static QString AbsolutePath(const QString& path);
    /// Next value of the process-wide work counter; the first call gives 1.
    static int NextWorkCounter();
};

} // namespace WorkBaseData
