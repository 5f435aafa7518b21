#pragma once
// Rows of an executed SELECT, handed out by index or as maps keyed by field name.

#include <QSqlQuery>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

namespace EasyQtSql {

class QueryResult
{
public:
    // Executes the prepared query; throws DBException when it fails.
    explicit QueryResult(const QSqlQuery& query);

    bool next();
    QVariant value(int index) const;
    // Field name -> value of the current row, names exactly as the table defines them.
    QVariantMap toMap() const;
    // Empty until the first next().
    QStringList fieldNames() const { return m_names; }

private:
    QSqlQuery m_query;
    bool m_bNamesRead = false;
    QStringList m_names;
};

} // namespace EasyQtSql
