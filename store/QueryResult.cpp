#include "store/QueryResult.h"

#include "store/DBException.h"

#include <QSqlRecord>

namespace EasyQtSql {

QueryResult::QueryResult(const QSqlQuery& query)
    : m_query(query)
{
    if (!m_query.exec())
        throw DBException(m_query);
}

bool QueryResult::next()
{
    const bool more = m_query.next();
    if (!m_bNamesRead) {
        const QSqlRecord record = m_query.record();
        for (int i = 0; i < record.count(); ++i)
            m_names.append(record.fieldName(i));
        m_bNamesRead = true;
    }
    return more;
}

QVariant QueryResult::value(int index) const
{
    return m_query.value(index);
}

QVariantMap QueryResult::toMap() const
{
    QVariantMap row;
    for (int i = 0; i < m_names.size(); ++i)
        row.insert(m_names.at(i), m_query.value(i));
    return row;
}

} // namespace EasyQtSql
