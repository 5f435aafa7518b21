#include "store/ConnectionPool.h"

#include <QMutexLocker>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>
#include <QtGlobal>

namespace EasyQtSql {

ConnectionPool& ConnectionPool::instance()
{
    static ConnectionPool pool;
    return pool;
}

ConnectionPool::ThreadConnections::~ThreadConnections()
{
    for (const QString& connectionName : qAsConst(names))
        release(connectionName);
}

void ConnectionPool::release(const QString& connectionName)
{
    {
        // The handle must be gone before removeDatabase, or Qt reports it still in use.
        QSqlDatabase db = QSqlDatabase::database(connectionName, false);
        if (db.isOpen())
            db.close();
    }
    QSqlDatabase::removeDatabase(connectionName);
}

ConnectionPool::ThreadConnections& ConnectionPool::threadConnections()
{
    if (!m_connections.hasLocalData())
        m_connections.setLocalData(new ThreadConnections);
    return *m_connections.localData();
}

void ConnectionPool::setSettings(const QString& name, const ConnectionSettings& settings)
{
    QMutexLocker locker(&m_mutex);
    m_settings[name] = settings;
}

QSqlDatabase ConnectionPool::database(const QString& name)
{
    QMutexLocker locker(&m_mutex);
    ThreadConnections& mine = threadConnections();
    auto found = mine.names.constFind(name);
    QString connectionName;
    if (found != mine.names.constEnd()) {
        connectionName = found.value();
    } else {
        const ConnectionSettings& settings = m_settings[name];
        connectionName = QUuid::createUuid().toString();
        mine.names.insert(name, connectionName);
        QSqlDatabase db = QSqlDatabase::addDatabase(settings.driverName(), connectionName);
        db.setDatabaseName(settings.databaseName);
        db.setHostName(settings.hostName);
        db.setUserName(settings.userName);
        db.setPassword(settings.password);
        if (settings.port.isValid())
            db.setPort(settings.port.toInt());
        if (!settings.connectOptions.isEmpty())
            db.setConnectOptions(settings.connectOptions);
    }
    QSqlDatabase db = QSqlDatabase::database(connectionName, false);
    if (!db.isOpen()) {
        if (!db.open()) {
            qCritical("%s", qPrintable(db.lastError().text()));
            return db;
        }
        for (const QString& sql : m_settings.value(name).initStatements)
            db.exec(sql);
    }
    return db;
}

void ConnectionPool::closeDatabase(const QString& name)
{
    QMutexLocker locker(&m_mutex);
    ThreadConnections& mine = threadConnections();
    const QString connectionName = mine.names.take(name);
    if (!connectionName.isEmpty())
        release(connectionName);
}

QString ConnectionPool::connectionName(const QString& name)
{
    QMutexLocker locker(&m_mutex);
    return threadConnections().names.value(name);
}

} // namespace EasyQtSql
