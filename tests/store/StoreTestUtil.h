#pragma once
// Fixtures shared by the store tests: files with chosen content, the store's log lines
// and a check of SQLite files through a connection of their own.

#include "TestHost.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QUuid>

namespace StoreTest {

inline bool WriteFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

inline QString Md5Hex(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex().toUpper());
}

// Log lines written under func that contain message.
inline QStringList LogsOf(const QString& func, const QString& message)
{
    QStringList out;
    for (const QString& line : TestHost::Logs()) {
        if (line.contains(func + QLatin1Char(' ')) && line.contains(message))
            out.append(line);
    }
    return out;
}

// Runs sql on path through a private connection and returns the first column of every row.
inline QStringList Query(const QString& path, const QString& sql)
{
    QStringList out;
    const QString name = QUuid::createUuid().toString();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(sql)) {
                while (query.next())
                    out.append(query.value(0).toString());
            } else {
                out.append(QStringLiteral("error: ") + query.lastError().text());
            }
        }
    }
    QSqlDatabase::removeDatabase(name);
    return out;
}

} // namespace StoreTest
