#pragma once
// The library's persistent store: the video file catalogue (videofile.fdb) and the
// per-file model databases. Every operation returns 0 on success, negative on failure.

#include "store/VideoFileRecord.h"

#include <QList>
#include <QMap>
#include <QSqlDatabase>
#include <QString>
#include <QVariantMap>

class CDBStore
{
public:
    static CDBStore* GetInstance();

    int InitDBTable(QVariantMap params);
    int GetVideoFile(QString filePath, VideoFileRecord& record, bool create, int type);
    int UpdateVideoFile(const VideoFileRecord& record, QVariantMap fields);
    int GetVideoFileCount(int type, qint64& count);
    int GetVideoFileList(QList<VideoFileRecord>& list, int type, qint64 page, qint64 pageSize);

private:
    CDBStore() = default;

    QString m_sDriver = QStringLiteral("QSQLITE");
    QVariantMap m_mapParams;
    QSqlDatabase m_db;
    QMap<QString, QSqlDatabase> m_mapModels;
};
