#include "store/DBException.h"

#include <QSqlDatabase>
#include <QSqlQuery>

namespace EasyQtSql {

namespace {
// SQLite's primary result codes; extended codes keep them in the low byte.
constexpr int kSqliteBusy = 5;
constexpr int kSqliteLocked = 6;
} // namespace

DBException::DBException(const QSqlDatabase& db)
    : lastError(db.lastError())
{
}

DBException::DBException(const QSqlQuery& query)
    : lastError(query.lastError())
    , lastQuery(query.lastQuery())
{
}

DBException::DBException(const QSqlError& error, const QString& query)
    : lastError(error)
    , lastQuery(query)
{
}

DBException::DBException(const DBException& other) = default;

DBException::~DBException() = default;

void DBException::raise() const
{
    throw *this;
}

DBException* DBException::clone() const
{
    return new DBException(*this);
}

bool DBException::isBusy() const
{
    bool ok = false;
    const int code = lastError.nativeErrorCode().toInt(&ok) & 0xff;
    return ok && (code == kSqliteBusy || code == kSqliteLocked);
}

} // namespace EasyQtSql
