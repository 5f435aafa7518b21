#pragma once
// One database transaction: commits only when asked, rolls back when it goes out of
// scope uncommitted (an exception thrown half-way leaves nothing written).

#include "store/InsertQuery.h"
#include "store/QueryResult.h"
#include "store/UpdateQuery.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariantList>

namespace EasyQtSql {

class Transaction
{
public:
    // An invalid db means Qt's default connection. Throws DBException when the database
    // cannot be opened or the transaction cannot begin.
    explicit Transaction(QSqlDatabase db = QSqlDatabase());
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // Runs sql as is; throws DBException when it fails.
    QSqlQuery exec(const QString& sql);
    QStringList tables() const;
    InsertQuery insertInto(const QString& tableText);
    UpdateQuery update(const QString& table);
    // Prepares sql (forward only), binds values by position and runs it.
    QueryResult execQuery(const QString& sql, const QVariantList& values = QVariantList());
    // Commits once; a second call returns the first call's result. Throws on failure.
    bool commit();

    QSqlDatabase database() const { return m_db; }

private:
    QSqlDatabase m_db;
    bool m_bCommitted = false;
    bool m_bStarted = false;
};

} // namespace EasyQtSql
