#include "store/UpdateQuery.h"

#include "store/DBException.h"

#include <QSqlError>
#include <QStringList>

namespace EasyQtSql {

UpdateQuery::UpdateQuery(const QString& table, const QSqlDatabase& db)
    : m_sTable(table)
    , m_query(db)
{
}

UpdateQuery& UpdateQuery::set(const QString& column, const QVariant& value)
{
    m_set.insert(column, value);
    return *this;
}

UpdateQuery& UpdateQuery::set(const QVariantMap& values)
{
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
        m_set.insert(it.key(), it.value());
    return *this;
}

QString UpdateQuery::statement() const
{
    QStringList columns;
    for (auto it = m_set.constBegin(); it != m_set.constEnd(); ++it)
        columns.append(it.key() + QStringLiteral("=?"));
    return QStringLiteral("UPDATE ") + m_sTable + QStringLiteral(" SET ") + columns.join(QLatin1Char(',')) +
           QStringLiteral(" WHERE ") + m_sWhere;
}

QSqlQuery UpdateQuery::exec()
{
    const QString text = statement();
    if (!m_query.prepare(text))
        throw DBException(m_query.lastError(), text);
    for (const QVariant& value : qAsConst(m_set))
        m_query.addBindValue(value);
    for (const QVariant& value : qAsConst(m_whereValues))
        m_query.addBindValue(value);
    if (!m_query.exec())
        throw DBException(m_query);
    return m_query;
}

} // namespace EasyQtSql
