#pragma once
// The one error type of the SQL layer: the driver's error and the statement that failed.

#include <QException>
#include <QSqlError>
#include <QString>

class QSqlDatabase;
class QSqlQuery;

namespace EasyQtSql {

class DBException : public QException
{
public:
    // A failure of the database itself (open, begin, commit): no statement text.
    explicit DBException(const QSqlDatabase& db);
    explicit DBException(const QSqlQuery& query);
    // A failure found by the layer before the driver saw the statement.
    DBException(const QSqlError& error, const QString& query);
    DBException(const DBException& other);
    ~DBException() override;

    void raise() const override;
    DBException* clone() const override;

    // True for SQLite's "database is locked" family: the statement may succeed when retried.
    bool isBusy() const;

    QSqlError lastError;
    QString lastQuery;
};

} // namespace EasyQtSql
