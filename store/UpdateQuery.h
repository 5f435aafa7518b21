#pragma once
// Builds "UPDATE <table> SET a=?,b=? WHERE <text>" with the values bound in that order.

#include <QMap>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

namespace EasyQtSql {

class UpdateQuery
{
public:
    UpdateQuery(const QString& table, const QSqlDatabase& db);

    UpdateQuery& set(const QString& column, const QVariant& value);
    UpdateQuery& set(const QVariantMap& values);
    // The WHERE text with "?" placeholders and the values for them, in order.
    template <typename... Values>
    UpdateQuery& where(const QString& text, const Values&... values)
    {
        m_sWhere = text;
        m_whereValues = QVariantList{QVariant(values)...};
        return *this;
    }

    // Throws DBException on failure.
    QSqlQuery exec();

    QString statement() const;

private:
    QString m_sTable;
    QSqlQuery m_query;
    QMap<QString, QVariant> m_set; // ascending column order fixes the SET order
    QString m_sWhere;
    QVariantList m_whereValues;
};

} // namespace EasyQtSql
