#include "store/CDBStore.h"

// Placeholder until the store lands: every operation reports "not ready".
CDBStore* CDBStore::GetInstance()
{
    static CDBStore store;
    return &store;
}

int CDBStore::InitDBTable(QVariantMap) { return -1; }
int CDBStore::GetVideoFile(QString, VideoFileRecord&, bool, int) { return -1; }
int CDBStore::UpdateVideoFile(const VideoFileRecord&, QVariantMap) { return -1; }
int CDBStore::GetVideoFileCount(int, qint64&) { return -1; }
int CDBStore::GetVideoFileList(QList<VideoFileRecord>&, int, qint64, qint64) { return -1; }
