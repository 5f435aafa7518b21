#pragma once
// Builds "INSERT INTO <table text> VALUES (?,...)" from rows of values; several rows
// go to the driver as one batch.

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QVariant>
#include <QVector>

namespace EasyQtSql {

class InsertQuery
{
public:
    // tableText is the table name and its column list, e.g. "tb_data_2 (id, time, diff, psnr)".
    InsertQuery(const QString& tableText, const QSqlDatabase& db);

    // One value per column, in column order; each call adds a row.
    template <typename... Values>
    InsertQuery& values(const Values&... row)
    {
        if (m_nColumns == 0)
            m_nColumns = static_cast<int>(sizeof...(row));
        (append(QVariant(row)), ...);
        return *this;
    }
    // The next value: it goes to the column after the last one filled, wrapping to a new
    // row once every column of the table text has one.
    InsertQuery& operator<<(const QVariant& value);

    // Runs the statement (exec for one row, execBatch for more) and clears the collected
    // values; throws DBException on failure, including rows left unfinished.
    QSqlQuery exec();

    QString statement() const;
    int rowCount() const { return m_columns.isEmpty() ? 0 : m_columns.first().size(); }

private:
    void append(const QVariant& value);

    QString m_sTable;
    QSqlQuery m_query;
    QVector<QVariantList> m_columns;
    int m_nColumns = 0; // from the table text's column list; 0 when it has none
    int m_nValues = 0;
};

} // namespace EasyQtSql
