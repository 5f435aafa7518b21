#include "store/Transaction.h"

#include "store/DBException.h"

namespace EasyQtSql {

Transaction::Transaction(QSqlDatabase db)
    : m_db(db.isValid() ? db : QSqlDatabase::database(QLatin1String(QSqlDatabase::defaultConnection), true))
{
    if (!m_db.isOpen() && !m_db.open())
        throw DBException(m_db);
    m_bStarted = m_db.transaction();
    if (!m_bStarted)
        throw DBException(m_db);
}

Transaction::~Transaction()
{
    if (m_db.isValid() && !m_bCommitted)
        m_db.rollback();
}

QSqlQuery Transaction::exec(const QString& sql)
{
    QSqlQuery query = m_db.exec(sql);
    if (query.lastError().isValid())
        throw DBException(query);
    return query;
}

QStringList Transaction::tables() const
{
    return m_db.tables(QSql::Tables);
}

InsertQuery Transaction::insertInto(const QString& tableText)
{
    return InsertQuery(tableText, m_db);
}

UpdateQuery Transaction::update(const QString& table)
{
    return UpdateQuery(table, m_db);
}

QueryResult Transaction::execQuery(const QString& sql, const QVariantList& values)
{
    QSqlQuery query(m_db);
    query.setForwardOnly(true);
    if (!query.prepare(sql))
        throw DBException(query.lastError(), sql);
    for (const QVariant& value : values)
        query.addBindValue(value);
    return QueryResult(query);
}

bool Transaction::commit()
{
    if (m_db.isValid() && !m_bCommitted) {
        m_bCommitted = m_db.commit();
        if (!m_bCommitted)
            throw DBException(m_db);
    }
    return m_bCommitted;
}

} // namespace EasyQtSql
