#include "store/InsertQuery.h"

#include "store/DBException.h"

#include <QScopeGuard>
#include <QSqlError>
#include <QStringList>

namespace EasyQtSql {

namespace {

int CountColumns(const QString& tableText)
{
    const int open = tableText.indexOf(QLatin1Char('('));
    const int close = tableText.lastIndexOf(QLatin1Char(')'));
    if (open < 0 || close <= open)
        return 0;
    const QString list = tableText.mid(open + 1, close - open - 1).trimmed();
    return list.isEmpty() ? 0 : list.count(QLatin1Char(',')) + 1;
}

} // namespace

InsertQuery::InsertQuery(const QString& tableText, const QSqlDatabase& db)
    : m_sTable(tableText)
    , m_query(db)
    , m_nColumns(CountColumns(tableText))
{
}

InsertQuery& InsertQuery::operator<<(const QVariant& value)
{
    append(value);
    return *this;
}

void InsertQuery::append(const QVariant& value)
{
    const int column = m_nColumns > 0 ? m_nValues % m_nColumns : m_nValues;
    if (column >= m_columns.size())
        m_columns.resize(column + 1);
    m_columns[column].append(value);
    ++m_nValues;
}

QString InsertQuery::statement() const
{
    QStringList marks;
    for (int i = 0; i < m_columns.size(); ++i)
        marks.append(QStringLiteral("?"));
    return QStringLiteral("INSERT INTO ") + m_sTable + QStringLiteral(" VALUES (") +
           marks.join(QLatin1Char(',')) + QLatin1Char(')');
}

QSqlQuery InsertQuery::exec()
{
    const QString text = statement();
    auto clear = qScopeGuard([this] {
        m_columns.clear();
        m_nValues = 0;
    });

    const int rows = rowCount();
    for (const QVariantList& column : qAsConst(m_columns)) {
        if (column.size() != rows)
            throw DBException(QSqlError(QString(), QStringLiteral("values do not fill whole rows"),
                                        QSqlError::StatementError),
                              text);
    }
    if (!m_query.prepare(text))
        throw DBException(m_query.lastError(), text);

    bool ok = false;
    if (rows > 1) {
        for (const QVariantList& column : qAsConst(m_columns))
            m_query.addBindValue(column, QSql::In);
        ok = m_query.execBatch(QSqlQuery::ValuesAsRows);
    } else {
        for (const QVariantList& column : qAsConst(m_columns))
            m_query.addBindValue(column.value(0), QSql::In);
        ok = m_query.exec();
    }
    if (!ok)
        throw DBException(m_query);
    return m_query;
}

} // namespace EasyQtSql
