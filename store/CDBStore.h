#pragma once
// The library's persistent store: the video file catalogue (videofile.fdb) and the
// per-file model databases. Every operation returns 0 on success, negative on failure,
// and may be called from any thread: each thread works on its own connections.

#include "store/FaceDataRow.h"
#include "store/MoveDataRow.h"
#include "store/VideoFileRecord.h"

#include <QList>
#include <QMutex>
#include <QHash>
#include <QSet>
#include <QSqlDatabase>
#include <QString>
#include <QVariantMap>

class QThread;

#include <atomic>

class CDBStore
{
public:
    // How long a statement waits for another connection's lock before it gives up.
    static constexpr int kBusyTimeoutMs = 30000;

    static CDBStore* GetInstance();

    // Opens <params["saveDir"]>/videofile.fdb and its tables; a second call after success
    // does nothing. -1 no (or an empty) "saveDir", -2 the folder cannot be made, -3 SQL failure.
    int InitDBTable(QVariantMap params);
    // Looks filePath up by content fingerprint, creating its row when create is set. A new
    // row's ctime, and the month folder of its model file, come from the file's birth time
    // where the file system keeps one, else from its last modification.
    // -1 not initialised, -2 no such file, -3 SQL failure, -4 the file cannot be read.
    int GetVideoFile(QString filePath, VideoFileRecord& record, bool create, int type);
    // Sets the columns named by fields' keys on record's row. -1 not initialised,
    // -2 empty key or fields, -3 SQL failure.
    int UpdateVideoFile(const VideoFileRecord& record, QVariantMap fields);
    // -1 not initialised, -2 SQL failure.
    int GetVideoFileCount(int type, qint64& count);
    // Page page (from 1) of at least 10 rows. -1 not initialised, -2 SQL failure.
    int GetVideoFileList(QList<VideoFileRecord>& list, int type, qint64 page, qint64 pageSize);

    // Opens (creating when needed) the model file mode and its table for dataType, for the
    // calling thread. -1 empty mode or SQL failure.
    int OpenModelTable(QString mode, int dataType);
    // Lets the calling thread's connection to mode go; the model stays open for the other
    // threads that opened it. -1 empty mode.
    int CloseModelTable(QString mode);
    // -1 mode not open, -2 no table for dataType, -3 SQL failure.
    int GetDataCount(QString mode, int dataType, qint64& count);
    // The last frame stored, 0 for an empty table; statuses as GetDataCount.
    int GetDataMaxKey(QString mode, int dataType, qint64& maxKey);
    // -1 mode not open or SQL failure (a frame number stored before fails on the key).
    int InsertDataFace(QString mode, const FaceDataRow& row);
    // All rows in one transaction: every row is stored or none. -1 mode not open or SQL failure.
    int InsertDataFaces(QString mode, const QList<FaceDataRow>& rows);
    // Appends the face rows of frames max(fromId, 0) .. toId. -1 mode not open, -3 SQL failure.
    int GetDataFace(QString mode, QList<FaceDataRow>& rows, qint64 fromId, qint64 toId);
    // -1 mode not open or SQL failure.
    int InsertDataMove(QString mode, const MoveDataRow& row);
    // All rows in one transaction: every row is stored or none. -1 mode not open or SQL failure.
    int InsertDataMoves(QString mode, const QList<MoveDataRow>& rows);
    // Appends the move rows of frames max(fromId, 0) .. toId in frame order. -1 mode not
    // open, -3 SQL failure.
    int GetDataMove(QString mode, QList<MoveDataRow>& rows, qint64 fromId, qint64 toId);

    // The catalogue file; empty until InitDBTable succeeded. A catalogue that exists but
    // cannot be written is opened read-only: it lists, and every write fails.
    QString CataloguePath() const;
    // The catalogue the last InitDBTable could not open (a file in the way, a corrupt or
    // unreadable catalogue); empty when none failed or a store is open.
    QString FailedStore() const;
    // The start parameters, "saveDir" made absolute.
    QVariantMap Params() const;
    // The calling thread's connection to the catalogue; invalid before InitDBTable.
    QSqlDatabase CatalogueDatabase() const;
    bool IsModelOpen(const QString& mode) const;
    // IsModelOpen, logging "mode %s not exist" under func when it is not.
    bool CheckModelOpen(const char* func, const QString& mode) const;
    // How often a transaction was run again after SQLite answered busy at once.
    static qint64 BusyRetryCount();

private:
    CDBStore() = default;
    // The catalogue file, or empty after logging "db not init" under func.
    QString ReadyCatalogue(const char* func) const;

    const QString m_sDriver = QStringLiteral("QSQLITE");
    // Guards the fields below; SQL work runs on per-thread connections outside it.
    mutable QMutex m_lock;
    QVariantMap m_mapParams;
    // Connections belong to one thread each, so the store keeps names, never handles.
    QString m_sCatalogue;
    QString m_sFailedStore;
    // Model path -> the threads that opened it (a model stays open while any of them has it).
    QHash<QString, QSet<const QThread*>> m_mapModels;
};
