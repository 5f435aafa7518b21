#pragma once
/**
 * @file CWorkLib.h
 * @brief The library boundary: the host callback kinds, the CWorkLib interface
 *        and the two exported entry points.
 *
 * Typical use from a host:
 * @code
 *   CWorkLib* lib = CreateWorkLib(&onMessage, QVariantMap{{"appData", dataDir}});
 *   CDetWork* work = lib->CreateWork(5);
 *   work->SetParams(params);
 *   work->StartWork();
 *   // ... kind 2 and kind 3 messages arrive on the work's thread ...
 *   work->StopWork();
 *   work->JoinWork(30000);
 *   lib->ReleaseWork(work);
 *   ReleaseWorkLib(lib);
 * @endcode
 *
 * The virtual slot order of CWorkLib is part of the binary contract with hosts.
 */

#include "CDetWork.h"
#include "zrworklib_export.h"

#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <functional>

/** Kind of a message passed to the host callback. */
enum WorkLibRs
{
    WorkLibRs_Log = 1,      ///< a log line, as {"log": text}
    WorkLibRs_Progress = 2, ///< a progress map: "user_data", "nPos", "nMax"
    WorkLibRs_Finished = 3  ///< a finished map: "user_data", "nPos", "nMax", "res_data"
};

/** The host callback; it is called from whichever thread reports and must be thread-safe. */
typedef void (*WorkLibCallback)(WorkLibRs kind, const QVariant& value);

class CWorkLib
{
public:
    /** Calls @p visitor with each video capture device name; stops when it returns false. */
    virtual void EnumDevices(std::function<bool(const QString&)> visitor) = 0;
    /**
     * Creates a work of @p type (0..15). Types without a work class, including
     * the unassigned 11, give null (and leave a null entry that
     * ReleaseWork(nullptr) removes).
     */
    virtual CDetWork* CreateWork(int type) = 0;
    /** Destroys a work created here; stop and join it first. Always true. */
    virtual bool ReleaseWork(CDetWork* work) = 0;
    /** Writes a copy of model file @p src to @p dst carrying the "zrmode" tag. */
    virtual bool MarkModeFile(QString src, QString dst) = 0;
    /** Writes a copy of tagged model file @p src to @p dst with the tag taken out. */
    virtual bool UnmarkModeFile(QString src, QString dst) = 0;
    /** Opens the model store under @p dir + "/zrModelData". Always true. */
    virtual bool InitModelStore(QString dir) = 0;
    /** Always true. */
    virtual bool IsReady() = 0;
    /**
     * Pages through the video file catalogue of @p model ("face" or "move";
     * anything else is kind 0). @p total receives the row count of the kind.
     * @p offset and @p count are rows: the visitor sees at most @p count rows
     * starting at row @p offset, in catalogue order. A @p count of 0 or less
     * visits nothing, but the catalogue is still read.
     * Returns false when the catalogue query fails (for instance for kind 0,
     * which has no table); stopping early through @p visitor still gives true.
     */
    virtual bool ListVideoFiles(const QString& model, qint64 offset, qint64 count, qint64* total,
                                std::function<bool(const QVariantMap&)> visitor) = 0;
    virtual ~CWorkLib() {}
};

/** Starts the library; call once. @p appInfo is a map with "appData" (the host's data folder). */
ZRWORKLIB_EXPORT CWorkLib* CreateWorkLib(void (*callback)(WorkLibRs, const QVariant&), const QVariant& appInfo);
/** Tears the library down: no message reaches the host afterwards. The argument is ignored. */
ZRWORKLIB_EXPORT void ReleaseWorkLib(CWorkLib* lib);
