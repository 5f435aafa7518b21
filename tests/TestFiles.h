#pragma once
// Small file helpers the tests share: write a file (optionally executable, for stand-in
// programs) and read one back as text ("<missing>" when it cannot be read).

#include <QFile>
#include <QString>

namespace TestFiles {

inline bool Write(const QString& path, const QByteArray& data, bool executable = false)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size()
        && (!executable || f.setPermissions(f.permissions() | QFileDevice::ExeOwner));
}

inline QString Read(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromUtf8(f.readAll()) : QStringLiteral("<missing>");
}

} // namespace TestFiles
