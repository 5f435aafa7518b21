#pragma once
// Named logical connections, opened lazily: one physical connection per thread and
// name, closed and removed when its thread ends.

#include "store/ConnectionSettings.h"

#include <QMap>
#include <QMutex>
#include <QSqlDatabase>
#include <QString>
#include <QThreadStorage>

namespace EasyQtSql {

class ConnectionPool
{
public:
    static ConnectionPool& instance();

    // Inserts the settings of name, or overwrites every field of the ones it has.
    void setSettings(const QString& name, const ConnectionSettings& settings);
    // The calling thread's connection for name, opened; a connection that cannot be
    // opened is returned closed (the first statement on it then fails).
    QSqlDatabase database(const QString& name);
    // Closes and forgets the calling thread's connection for name, so the file is let go
    // now rather than when the thread ends; the next database(name) opens a fresh one.
    void closeDatabase(const QString& name);
    // The Qt connection name of the calling thread's connection for name; empty if none.
    QString connectionName(const QString& name);

    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

private:
    ConnectionPool() = default;

    // One thread's connections, logical name -> Qt connection name; its destructor runs
    // on that thread's exit and lets the connections go.
    class ThreadConnections
    {
    public:
        ThreadConnections() = default;
        ~ThreadConnections();
        ThreadConnections(const ThreadConnections&) = delete;
        ThreadConnections& operator=(const ThreadConnections&) = delete;
        QMap<QString, QString> names;
    };

    ThreadConnections& threadConnections();
    static void release(const QString& connectionName);

    QMutex m_mutex;
    QMap<QString, ConnectionSettings> m_settings;
    QThreadStorage<ThreadConnections*> m_connections;
};

} // namespace EasyQtSql
