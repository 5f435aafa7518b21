#pragma once
// What one logical connection of the pool is made of.

#include <QString>
#include <QStringList>
#include <QVariant>

namespace EasyQtSql {

struct ConnectionSettings
{
    QString type;         // Qt driver name; empty means "QODBC"
    QVariant port;        // an invalid variant means no port is set
    QString hostName;
    QString userName;
    QString password;
    QString databaseName;
    // Driver options such as "QSQLITE_BUSY_TIMEOUT=30000"; applied before the connection opens.
    QString connectOptions;
    // Run on every physical connection right after it opens: settings such as SQLite's
    // pragmas that live in the connection, not in the file. Failures are ignored.
    QStringList initStatements;

    // The driver to load: type, or "QODBC" when none was given.
    QString driverName() const;
};

} // namespace EasyQtSql
