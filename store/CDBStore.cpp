#include "store/CDBStore.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "store/ConnectionPool.h"
#include "store/DBException.h"
#include "store/Transaction.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMutexLocker>
#include <QRandomGenerator>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QUrl>

#include <algorithm>
#include <cstring>
#include <limits>

using namespace EasyQtSql;
using namespace WorkBaseData;

namespace {

const char kCatalogueColumns[] =
    "(key varchar primary key,path varchar not null,name varchar not null,ctime bigint not null,"
    "mtime bigint not null,size bigint not null,width bigint,height bigint,duration bigint,"
    "ver bigint not null,endbtype bigint not null,model varchar,enstate bigint not null,"
    "mcount bigint not null,nick varchar,jsext varchar)";

const char kCatalogueInsertColumns[] =
    " (key, path, name, ctime, mtime, size, width, height, duration, ver, endbtype, model, enstate, "
    "mcount, nick, jsext)";

// Retries after SQLite answered busy without waiting; ordinary lock waits are covered by
// the busy timeout of each connection.
constexpr int kBusyRetries = 50;

std::atomic<qint64> g_busyRetries{0};

QString CatalogueTable(int type)
{
    return QStringLiteral("tb_VideoFile_") + QString::number(type);
}

QString DataTable(int dataType)
{
    return QStringLiteral("tb_data_") + QString::number(dataType);
}

// The type-3 text is kept as it always was, run-together "blobver" and unquoted "group"
// included; the library never uses that table.
QString DataColumns(int dataType)
{
    switch (dataType) {
    case 1:
        return QStringLiteral(" (id bigint primary key,time bigint not null,marksize bigint not null,markdata blob)");
    case 2:
        return QStringLiteral(" (id bigint primary key,time bigint not null,diff int not null,psnr blob)");
    case 3:
        return QStringLiteral(" (id INTEGER PRIMARY KEY AUTOINCREMENT,name varchar not null unique,"
                              "image varchar not null,nick varchar not null,group varchar not null,"
                              "ctime bigint not null,mtime bigint not null,jsext varchar,"
                              "markdata blobver int not null)");
    default:
        return QString();
    }
}

enum class Sync
{
    Full,
    Normal
};

// Model rows can be computed again, and a work resumes after GetDataMaxKey, so model files
// give up the last commits before a power loss (never the file's integrity: WAL keeps
// that) for commits that wait for no disk sync: several to dozens of times more rows a
// second, depending on how slowly the disk syncs (bench_store measures it).
// The catalogue holds what the host wrote and keeps a sync on every commit.
void RegisterSqlite(const QString& driver, const QString& path, Sync sync)
{
    ConnectionSettings settings;
    settings.type = driver;
    settings.databaseName = path;
    settings.connectOptions = QStringLiteral("QSQLITE_BUSY_TIMEOUT=") + QString::number(CDBStore::kBusyTimeoutMs);
    if (sync == Sync::Normal)
        settings.initStatements.append(QStringLiteral("PRAGMA synchronous=NORMAL"));
    ConnectionPool::instance().setSettings(path, settings);
}

// WAL lets readers go on while a work thread writes and makes a one-row commit cost one
// sync instead of several. The mode is stored in the file, so setting it where a file is
// first opened covers every later connection. Only "busy" matters here: any other failure
// shows again, with its real cause, in the statements that follow.
void UseWal(const QSqlDatabase& db)
{
    if (!db.isOpen())
        return;
    QSqlQuery query = db.exec(QStringLiteral("PRAGMA journal_mode=WAL"));
    if (query.lastError().isValid()) {
        DBException error(query);
        if (error.isBusy())
            throw error;
    }
}

// Runs body again when SQLite answers busy at once: it does so, without calling the busy
// handler, when a connection that has read in a transaction wants to write after another
// connection wrote. The whole transaction has to start over then.
template <typename Body>
auto RetryBusy(Body body) -> decltype(body())
{
    for (int attempt = 1;; ++attempt) {
        try {
            return body();
        } catch (const DBException& error) {
            if (!error.isBusy() || attempt >= kBusyRetries)
                throw;
        }
        ++g_busyRetries;
        QThread::msleep(static_cast<unsigned long>(QRandomGenerator::global()->bounded(1, 4 + 2 * attempt)));
    }
}

void LogSqlFailure(const char* func, const DBException& error)
{
    ZRLOG(LOG_ERROR, func, "sql failed query %s err %s", qUtf8Printable(error.lastQuery),
          qUtf8Printable(error.lastError.text()));
}

// Runs one store operation's statements, retrying while SQLite is busy. A failure is
// logged under func and becomes failStatus; otherwise the body's own status is returned.
template <typename Body>
int RunSql(const char* func, int failStatus, Body body)
{
    try {
        return RetryBusy(body);
    } catch (const DBException& error) {
        LogSqlFailure(func, error);
        return failStatus;
    }
}

// Reads the rows fromId..toId of a model's data table with select (its "%1" the table)
// and appends them to rows through toRow, all of them or, on failure, none.
template <typename Row, typename ToRow>
int ReadDataRows(const char* func, const QString& mode, int dataType, const char* select, qint64 fromId, qint64 toId,
                 QList<Row>& rows, ToRow toRow)
{
    QList<Row> found;
    const int status = RunSql(func, -3, [&] {
        found.clear();
        Transaction transaction(ConnectionPool::instance().database(mode));
        QueryResult result = transaction.execQuery(QString::fromLatin1(select)
                                                       .arg(DataTable(dataType))
                                                       .arg(std::max<qint64>(fromId, 0))
                                                       .arg(toId));
        while (result.next())
            found.append(toRow(result));
        return 0;
    });
    if (status != 0)
        return status;
    rows.append(found);
    return 0;
}

VideoFileRecord RecordFromRow(const QVariantMap& row)
{
    VideoFileRecord r;
    r.key = row.value(QStringLiteral("key")).toString();
    r.path = row.value(QStringLiteral("path")).toString();
    r.name = row.value(QStringLiteral("name")).toString();
    r.ctime = row.value(QStringLiteral("ctime")).toLongLong();
    r.mtime = row.value(QStringLiteral("mtime")).toLongLong();
    r.size = row.value(QStringLiteral("size")).toLongLong();
    r.width = row.value(QStringLiteral("width")).toLongLong();
    r.height = row.value(QStringLiteral("height")).toLongLong();
    r.duration = row.value(QStringLiteral("duration")).toLongLong();
    r.ver = row.value(QStringLiteral("ver")).toInt();
    r.endbtype = row.value(QStringLiteral("endbtype")).toInt();
    r.model = row.value(QStringLiteral("model")).toString();
    r.enstate = row.value(QStringLiteral("enstate")).toInt();
    r.mcount = row.value(QStringLiteral("mcount")).toInt();
    r.nick = row.value(QStringLiteral("nick")).toString();
    r.jsext = row.value(QStringLiteral("jsext")).toString();
    return r;
}

bool FindRecord(const QSqlDatabase& db, const QString& table, const QString& key, VideoFileRecord& record)
{
    // Read only: the transaction is left uncommitted and rolls back.
    Transaction transaction(db);
    QueryResult result =
        transaction.execQuery(QStringLiteral("SELECT * FROM ") + table + QStringLiteral(" where key = ?"), {key});
    if (!result.next())
        return false;
    record = RecordFromRow(result.toMap());
    return true;
}

// Linux keeps a birth time only where the file system and statx provide one; elsewhere
// the last modification stands in. The status-change time is not used: it moves on every
// rename or chmod, which would file one video under a new month after the user renamed it.
QDateTime CreationTime(const QFileInfo& info)
{
    const QDateTime born = info.birthTime();
    return born.isValid() ? born : info.lastModified();
}

qint64 ReadFirst(Transaction& transaction, const QString& sql, const QString& column)
{
    QueryResult result = transaction.execQuery(sql);
    return result.next() ? result.toMap().value(column).toLongLong() : 0;
}

} // namespace

CDBStore* CDBStore::GetInstance()
{
    static CDBStore store;
    return &store;
}

qint64 CDBStore::BusyRetryCount()
{
    return g_busyRetries.load();
}

QString CDBStore::CataloguePath() const
{
    QMutexLocker locker(&m_lock);
    return m_sCatalogue;
}

QVariantMap CDBStore::Params() const
{
    QMutexLocker locker(&m_lock);
    return m_mapParams;
}

QSqlDatabase CDBStore::CatalogueDatabase() const
{
    const QString path = CataloguePath();
    return path.isEmpty() ? QSqlDatabase() : ConnectionPool::instance().database(path);
}

bool CDBStore::IsModelOpen(const QString& mode) const
{
    QMutexLocker locker(&m_lock);
    return m_mapModels.contains(mode);
}

bool CDBStore::CheckModelOpen(const char* func, const QString& mode) const
{
    if (IsModelOpen(mode))
        return true;
    ZRLOG(LOG_ERROR, func, "mode %s not exist", qUtf8Printable(mode));
    return false;
}

QString CDBStore::ReadyCatalogue(const char* func) const
{
    const QString path = CataloguePath();
    if (path.isEmpty())
        ZRLOG(LOG_ERROR, func, "db not init");
    return path;
}

namespace {

// Reads an existing catalogue where it cannot be written (a read-only disk or folder):
// listing needs no write. SQLite opens a write-ahead-log file read-only only while its
// index file can be made; on read-only media it is opened as immutable instead.
int OpenReadOnly(const QString& driver, const QString& path)
{
    const char* const func = "CDBStore::InitDBTable";
    const QStringList names{path, QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded) + QStringLiteral("?immutable=1")};
    for (const QString& name : names) {
        ConnectionPool::instance().closeDatabase(path);
        ConnectionSettings settings;
        settings.type = driver;
        settings.databaseName = name;
        settings.connectOptions = QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=")
                                  + QString::number(CDBStore::kBusyTimeoutMs)
                                  + (name == path ? QString() : QStringLiteral(";QSQLITE_OPEN_URI"));
        ConnectionPool::instance().setSettings(path, settings);
        try {
            Transaction transaction(ConnectionPool::instance().database(path));
            const QStringList tables = transaction.tables();
            if (tables.contains(CatalogueTable(1), Qt::CaseInsensitive)
                && tables.contains(CatalogueTable(2), Qt::CaseInsensitive))
                return 0;
        } catch (const DBException& error) {
            LogSqlFailure(func, error);
        }
    }
    ConnectionPool::instance().closeDatabase(path);
    RegisterSqlite(driver, path, Sync::Full);
    return -3;
}

} // namespace

int CDBStore::InitDBTable(QVariantMap params)
{
    static const char* const func = "CDBStore::InitDBTable";
    QMutexLocker locker(&m_lock);
    if (!m_sCatalogue.isEmpty())
        return 0;
    const QString saveDir = params.value(QStringLiteral("saveDir")).toString();
    if (saveDir.trimmed().isEmpty()) {
        ZRLOG(LOG_ERROR, func, "no save dir");
        return -1;
    }
    QDir dir(saveDir);
    // Remembered until a later call opens a store, so works asked to keep rows can say so.
    m_sFailedStore = dir.absoluteFilePath(QStringLiteral("videofile.fdb"));
    if (!dir.exists() && !dir.mkpath(dir.absolutePath())) {
        ZRLOG(LOG_ERROR, func, "make dir failed %s", qUtf8Printable(dir.absolutePath()));
        return -2;
    }
    params.insert(QStringLiteral("saveDir"), dir.absolutePath());
    const QString path = dir.absoluteFilePath(QStringLiteral("videofile.fdb"));
    RegisterSqlite(m_sDriver, path, Sync::Full);
    int status = RunSql(func, -3, [&] {
        const QSqlDatabase db = ConnectionPool::instance().database(path);
        UseWal(db);
        Transaction transaction(db);
        const QStringList tables = transaction.tables();
        for (int type : {1, 2}) {
            const QString table = CatalogueTable(type);
            if (!tables.contains(table, Qt::CaseInsensitive))
                transaction.exec(QStringLiteral("create table ") + table + QLatin1Char(' ') +
                                 QLatin1String(kCatalogueColumns));
        }
        transaction.commit();
        return 0;
    });
    if (status != 0 && QFileInfo(path).isFile() && OpenReadOnly(m_sDriver, path) == 0) {
        ZRLOG(LOG_WARN, func, "catalogue %s opened read-only", qUtf8Printable(path));
        status = 0;
    }
    if (status != 0)
        return status;
    m_sFailedStore.clear();
    m_mapParams = params;
    m_sCatalogue = path;
    ZRLOG(LOG_INFO, func, "init db ok %s", qUtf8Printable(path));
    return 0;
}

QString CDBStore::FailedStore() const
{
    QMutexLocker locker(&m_lock);
    return m_sFailedStore;
}

int CDBStore::GetVideoFile(QString filePath, VideoFileRecord& record, bool create, int type)
{
    static const char* const func = "CDBStore::GetVideoFile";
    const QString catalogue = ReadyCatalogue(func);
    if (catalogue.isEmpty())
        return -1;
    const QFileInfo info(filePath);
    if (filePath.isEmpty() || !info.exists())
        return -2;
    const QString key = PubUtils::GetFileFingerprint(info.absoluteFilePath());
    if (key.isEmpty()) {
        ZRLOG(LOG_ERROR, func, "read file failed %s", qUtf8Printable(info.absoluteFilePath()));
        return -4;
    }
    const QString table = CatalogueTable(type);
    return RunSql(func, -3, [&] {
        const QSqlDatabase db = ConnectionPool::instance().database(catalogue);
        if (FindRecord(db, table, key, record) || !create)
            return 0;

        VideoFileRecord fresh;
        fresh.key = key;
        fresh.path = info.absoluteFilePath();
        fresh.name = info.completeBaseName();
        const QDateTime created = CreationTime(info);
        fresh.ctime = created.toSecsSinceEpoch();
        fresh.mtime = info.lastModified().toSecsSinceEpoch();
        fresh.size = info.size();
        fresh.endbtype = type;
        const QString month = created.toString(QStringLiteral("yyyy-MM"));
        QDir saveDir(Params().value(QStringLiteral("saveDir")).toString());
        // Another thread may make the same month folder between the two checks.
        if (!saveDir.exists(month) && !saveDir.mkdir(month) && !saveDir.exists(month))
            ZRLOG(LOG_WARN, func, "make dir failed %s", qUtf8Printable(saveDir.absoluteFilePath(month)));
        fresh.model = saveDir.absoluteFilePath(month + QLatin1Char('/') + QString::number(type) +
                                               QLatin1Char('_') + key + QStringLiteral(".fdb"));
        try {
            Transaction transaction(db);
            transaction.insertInto(table + QLatin1String(kCatalogueInsertColumns))
                .values(fresh.key, fresh.path, fresh.name, fresh.ctime, fresh.mtime, fresh.size, fresh.width,
                        fresh.height, fresh.duration, fresh.ver, fresh.endbtype, fresh.model, fresh.enstate,
                        fresh.mcount, fresh.nick, fresh.jsext)
                .exec();
            transaction.commit();
        } catch (const DBException&) {
            // Another thread may have created the same file's row since the lookup.
            if (FindRecord(db, table, key, record))
                return 0;
            throw;
        }
        record = fresh;
        return 0;
    });
}

int CDBStore::UpdateVideoFile(const VideoFileRecord& record, QVariantMap fields)
{
    static const char* const func = "CDBStore::UpdateVideoFile";
    const QString catalogue = ReadyCatalogue(func);
    if (catalogue.isEmpty())
        return -1;
    if (record.key.isEmpty() || fields.isEmpty()) {
        ZRLOG(LOG_ERROR, func, "parame invalid");
        return -2;
    }
    return RunSql(func, -3, [&] {
        Transaction transaction(ConnectionPool::instance().database(catalogue));
        transaction.update(CatalogueTable(record.endbtype))
            .set(fields)
            .where(QStringLiteral("key=?"), record.key)
            .exec();
        transaction.commit();
        return 0;
    });
}

int CDBStore::GetVideoFileCount(int type, qint64& count)
{
    static const char* const func = "CDBStore::GetVideoFileCount";
    const QString catalogue = ReadyCatalogue(func);
    if (catalogue.isEmpty())
        return -1;
    return RunSql(func, -2, [&] {
        Transaction transaction(ConnectionPool::instance().database(catalogue));
        count = ReadFirst(transaction, QStringLiteral("SELECT COUNT(*) FROM %1").arg(CatalogueTable(type)),
                         QStringLiteral("COUNT(*)"));
        return 0;
    });
}

int CDBStore::GetVideoFileList(QList<VideoFileRecord>& list, int type, qint64 page, qint64 pageSize)
{
    static const char* const func = "CDBStore::GetVideoFileList";
    const QString catalogue = ReadyCatalogue(func);
    if (catalogue.isEmpty())
        return -1;
    // Pages of fewer than ten rows are raised to ten on purpose.
    page = std::max<qint64>(page, 1);
    pageSize = std::max<qint64>(pageSize, 10);
    // A page past any real table reads no rows rather than overflowing.
    const qint64 skip = page - 1 > std::numeric_limits<qint64>::max() / pageSize
        ? std::numeric_limits<qint64>::max()
        : (page - 1) * pageSize;
    const int status = RunSql(func, -2, [&] {
        list.clear();
        Transaction transaction(ConnectionPool::instance().database(catalogue));
        QueryResult result = transaction.execQuery(
            QStringLiteral("SELECT * FROM %1 limit %2,%3").arg(CatalogueTable(type)).arg(skip).arg(pageSize));
        while (result.next())
            list.append(RecordFromRow(result.toMap()));
        return 0;
    });
    if (status != 0)
        list.clear();
    return status;
}

int CDBStore::OpenModelTable(QString mode, int dataType)
{
    static const char* const func = "CDBStore::OpenModelTable";
    if (mode.isEmpty()) {
        ZRLOG(LOG_ERROR, func, "mode is null");
        return -1;
    }
    {
        QMutexLocker locker(&m_lock);
        if (m_mapModels.value(mode).contains(QThread::currentThread()))
            return 0;
    }
    RegisterSqlite(m_sDriver, mode, Sync::Normal);
    const int status = RunSql(func, -1, [&] {
        const QSqlDatabase db = ConnectionPool::instance().database(mode);
        UseWal(db);
        Transaction transaction(db);
        const QString table = DataTable(dataType);
        // An unknown data type has no column text: the statement fails and says so.
        if (!transaction.tables().contains(table, Qt::CaseInsensitive))
            transaction.exec(QStringLiteral("create table ") + table + DataColumns(dataType));
        transaction.commit();
        return 0;
    });
    if (status != 0) {
        ConnectionPool::instance().closeDatabase(mode);
        return status;
    }
    QMutexLocker locker(&m_lock);
    m_mapModels[mode].insert(QThread::currentThread());
    return 0;
}

int CDBStore::CloseModelTable(QString mode)
{
    if (mode.isEmpty()) {
        ZRLOG(LOG_ERROR, "CDBStore::CloseModelTable", "mode is null");
        return -1;
    }
    QMutexLocker locker(&m_lock);
    // Each thread opens and closes for itself: one work ending must not close the model
    // under another work on the same file.
    const auto open = m_mapModels.find(mode);
    if (open == m_mapModels.end() || !open->remove(QThread::currentThread()))
        return 0;
    if (open->isEmpty())
        m_mapModels.erase(open);
    // Other threads' connections to the file go when those threads end.
    ConnectionPool::instance().closeDatabase(mode);
    return 0;
}

namespace {

// COUNT(*) or MAX(id) of a model table, shared by GetDataCount and GetDataMaxKey.
int ReadModelFigure(const CDBStore& store, const char* func, const QString& mode, int dataType,
                    const QString& sql, const QString& column, qint64& figure)
{
    if (!store.CheckModelOpen(func, mode))
        return -1;
    return RunSql(func, -3, [&] {
        Transaction transaction(ConnectionPool::instance().database(mode));
        const QString table = DataTable(dataType);
        if (!transaction.tables().contains(table, Qt::CaseInsensitive)) {
            ZRLOG(LOG_ERROR, func, "dbtype %d not exist", dataType);
            return -2;
        }
        // MAX(id) of an empty table is null, read as 0.
        figure = ReadFirst(transaction, sql.arg(table), column);
        return 0;
    });
}

} // namespace

int CDBStore::GetDataCount(QString mode, int dataType, qint64& count)
{
    return ReadModelFigure(*this, "CDBStore::GetDataCount", mode, dataType, QStringLiteral("SELECT COUNT(*) FROM %1"),
                           QStringLiteral("COUNT(*)"), count);
}

int CDBStore::GetDataMaxKey(QString mode, int dataType, qint64& maxKey)
{
    return ReadModelFigure(*this, "CDBStore::GetDataMaxKey", mode, dataType, QStringLiteral("SELECT MAX(id) FROM %1"),
                           QStringLiteral("MAX(id)"), maxKey);
}

namespace {

// The mark images of a row, one after the other. Not null even without marks: a frame
// with no face stores an empty blob, not NULL.
QByteArray MarkData(const FaceDataRow& row)
{
    QByteArray markdata("");
    markdata.reserve(row.marks.size() * FaceDataRow::kMarkSize);
    for (const FaceDataRow::Mark& mark : row.marks)
        markdata.append(reinterpret_cast<const char*>(mark.data()), FaceDataRow::kMarkSize);
    return markdata;
}

// Every row stored in one transaction, or none; log lines under func.
int InsertFaceRows(const CDBStore& store, const char* func, const QString& mode, const QList<FaceDataRow>& rows)
{
    if (!store.CheckModelOpen(func, mode))
        return -1;
    if (rows.isEmpty())
        return 0;
    return RunSql(func, -1, [&] {
        Transaction transaction(ConnectionPool::instance().database(mode));
        InsertQuery insert = transaction.insertInto(QStringLiteral("tb_data_1 (id, time, marksize, markdata)"));
        for (const FaceDataRow& row : rows)
            insert.values(row.id, row.time, static_cast<qint64>(row.marks.size()), MarkData(row));
        insert.exec();
        transaction.commit();
        return 0;
    });
}

} // namespace

int CDBStore::InsertDataFace(QString mode, const FaceDataRow& row)
{
    return InsertFaceRows(*this, "CDBStore::InsertDataFace", mode, {row});
}

int CDBStore::InsertDataFaces(QString mode, const QList<FaceDataRow>& rows)
{
    return InsertFaceRows(*this, "CDBStore::InsertDataFaces", mode, rows);
}

int CDBStore::GetDataFace(QString mode, QList<FaceDataRow>& rows, qint64 fromId, qint64 toId)
{
    static const char* const func = "CDBStore::GetDataFace";
    if (!CheckModelOpen(func, mode))
        return -1;
    return ReadDataRows(func, mode, 1, "SELECT * FROM %1 WHERE id >= %2 AND id <= %3", fromId, toId, rows,
                        [](QueryResult& result) {
        const QVariantMap map = result.toMap();
        FaceDataRow row;
        row.id = map.value(QStringLiteral("id")).toLongLong();
        row.time = map.value(QStringLiteral("time")).toLongLong();
        const QByteArray markdata = map.value(QStringLiteral("markdata")).toByteArray();
        // A damaged row yields the whole marks it still holds, never a read past its end.
        const qint64 marks = std::min<qint64>(map.value(QStringLiteral("marksize")).toLongLong(),
                                              markdata.size() / FaceDataRow::kMarkSize);
        for (qint64 i = 0; i < marks; ++i) {
            FaceDataRow::Mark mark;
            std::memcpy(mark.data(), markdata.constData() + i * FaceDataRow::kMarkSize, mark.size());
            row.marks.append(mark);
        }
        return row;
    });
}

int CDBStore::InsertDataMove(QString mode, const MoveDataRow& row)
{
    static const char* const func = "CDBStore::InsertDataMove";
    if (!CheckModelOpen(func, mode))
        return -1;
    const QByteArray psnr(reinterpret_cast<const char*>(row.psnr.data()), MoveDataRow::kPsnrSize);
    return RunSql(func, -1, [&] {
        Transaction transaction(ConnectionPool::instance().database(mode));
        transaction.insertInto(QStringLiteral("tb_data_2 (id, time, diff, psnr)"))
            .values(row.id, row.time, row.diff, psnr)
            .exec();
        transaction.commit();
        return 0;
    });
}

int CDBStore::InsertDataMoves(QString mode, const QList<MoveDataRow>& rows)
{
    static const char* const func = "CDBStore::InsertDataMoves";
    if (!CheckModelOpen(func, mode))
        return -1;
    if (rows.isEmpty())
        return 0;
    const auto psnrOf = [](const MoveDataRow& row) {
        return QByteArray(reinterpret_cast<const char*>(row.psnr.data()), MoveDataRow::kPsnrSize);
    };
    qint64 lowest = rows.first().id, highest = rows.first().id;
    for (const MoveDataRow& row : rows) {
        lowest = std::min(lowest, row.id);
        highest = std::max(highest, row.id);
    }
    return RunSql(func, -1, [&] {
        Transaction transaction(ConnectionPool::instance().database(mode));
        // Two works measuring one file store the same rows (the measure is deterministic):
        // a row already stored as it is is no error, one stored otherwise is.
        QHash<qint64, MoveDataRow> stored;
        QueryResult found = transaction.execQuery(
            QStringLiteral("SELECT id, time, diff, psnr FROM tb_data_2 WHERE id >= %1 AND id <= %2").arg(lowest).arg(highest));
        while (found.next()) {
            MoveDataRow row;
            row.id = found.value(0).toLongLong();
            row.time = found.value(1).toLongLong();
            row.diff = found.value(2).toInt();
            const QByteArray psnr = found.value(3).toByteArray();
            std::memcpy(row.psnr.data(), psnr.constData(), std::min<size_t>(psnr.size(), row.psnr.size()));
            stored.insert(row.id, row);
        }
        InsertQuery insert = transaction.insertInto(QStringLiteral("tb_data_2 (id, time, diff, psnr)"));
        int fresh = 0;
        for (const MoveDataRow& row : rows) {
            const auto same = stored.constFind(row.id);
            if (same == stored.constEnd()) {
                insert.values(row.id, row.time, row.diff, psnrOf(row));
                ++fresh;
            } else if (same->time != row.time || same->diff != row.diff || same->psnr != row.psnr) {
                ZRLOG(LOG_ERROR, func, "row %lld of %s is stored with other values", static_cast<long long>(row.id),
                      qUtf8Printable(mode));
                return -1;
            }
        }
        if (fresh > 0)
            insert.exec();
        transaction.commit();
        return 0;
    });
}

int CDBStore::GetDataMove(QString mode, QList<MoveDataRow>& rows, qint64 fromId, qint64 toId)
{
    static const char* const func = "CDBStore::GetDataMove";
    if (!CheckModelOpen(func, mode))
        return -1;
    return ReadDataRows(func, mode, 2, "SELECT id, time, diff, psnr FROM %1 WHERE id >= %2 AND id <= %3 ORDER BY id",
                        fromId, toId, rows, [](QueryResult& result) {
        MoveDataRow row;
        row.id = result.value(0).toLongLong();
        row.time = result.value(1).toLongLong();
        row.diff = result.value(2).toInt();
        const QByteArray psnr = result.value(3).toByteArray();
        // A short blob leaves the rest of the block zero, never a read past its end.
        std::memcpy(row.psnr.data(), psnr.constData(), std::min<size_t>(psnr.size(), row.psnr.size()));
        return row;
    });
}
