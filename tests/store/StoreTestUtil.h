#pragma once
// Fixtures shared by the store tests: files with chosen content, the store's log lines
// and a look into SQLite files through a connection of their own.

#include "TestHost.h"

#include <QFile>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

namespace StoreTest {

inline bool WriteFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

// The store's log lines from its function name on.
inline QStringList StoreLines() { return TestHost::Lines().filter(QRegularExpression(QStringLiteral("^CDBStore::"))); }

// Runs sql on path through a private connection and returns the first column of every row.
inline QStringList Query(const QString& path, const QString& sql)
{
    QStringList out;
    const QString name = QUuid::createUuid().toString();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        db.open();
        QSqlQuery query(db);
        if (!query.exec(sql))
            out.append(QStringLiteral("error: ") + query.lastError().text());
        while (query.next())
            out.append(query.value(0).toString());
    }
    QSqlDatabase::removeDatabase(name);
    return out;
}

} // namespace StoreTest
