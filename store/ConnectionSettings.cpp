#include "store/ConnectionSettings.h"

namespace EasyQtSql {

QString ConnectionSettings::driverName() const
{
    return type.isEmpty() ? QStringLiteral("QODBC") : type;
}

} // namespace EasyQtSql
