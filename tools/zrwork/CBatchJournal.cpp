#include "CBatchJournal.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#if defined(Q_OS_UNIX)
#include <unistd.h>
#endif

CBatchJournal::Key CBatchJournal::KeyOf(const QString& path)
{
    const QFileInfo info(path);
    Key key;
    key.path = path;
    if (info.exists()) {
        key.size = info.size();
        key.mtime = info.lastModified().toMSecsSinceEpoch();
    }
    return key;
}

QByteArray CBatchJournal::Line(const Entry& entry)
{
    QJsonObject line;
    line.insert(QStringLiteral("input"), entry.key.path);
    line.insert(QStringLiteral("size"), entry.key.size);
    line.insert(QStringLiteral("mtime"), entry.key.mtime);
    line.insert(QStringLiteral("outcome"), entry.outcome);
    line.insert(QStringLiteral("output"), entry.output);
    line.insert(QStringLiteral("seconds"), entry.seconds);
    line.insert(QStringLiteral("map"), QJsonObject::fromVariantMap(entry.map));
    return QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
}

QHash<QString, CBatchJournal::Entry> CBatchJournal::Parse(const QByteArray& text)
{
    QHash<QString, Entry> entries;
    for (const QByteArray& raw : text.split('\n')) {
        const QJsonObject line = QJsonDocument::fromJson(raw).object();
        const QString path = line.value(QStringLiteral("input")).toString();
        if (path.isEmpty() || !line.value(QStringLiteral("outcome")).isString())
            continue;
        Entry entry;
        entry.key = {path, static_cast<qint64>(line.value(QStringLiteral("size")).toDouble(-1)),
                     static_cast<qint64>(line.value(QStringLiteral("mtime")).toDouble())};
        entry.outcome = line.value(QStringLiteral("outcome")).toString();
        entry.output = line.value(QStringLiteral("output")).toString();
        entry.seconds = line.value(QStringLiteral("seconds")).toDouble();
        entry.map = line.value(QStringLiteral("map")).toObject().toVariantMap();
        entries.insert(path, entry);
    }
    return entries;
}

bool CBatchJournal::OutputReady(const QString& path)
{
    if (path.isEmpty())
        return true;
    const QFileInfo info(path);
    if (info.isDir())
        return !QDir(path).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty();
    return info.isFile() && info.size() > 0;
}

bool CBatchJournal::IsDone(const Entry& entry, const Key& now)
{
    return entry.outcome == QLatin1String("ok") && entry.key == now && now.size >= 0 && OutputReady(entry.output);
}

CBatchJournal::CBatchJournal(const QString& file)
    : m_sFile(file)
{
}

bool CBatchJournal::Load()
{
    m_entries.clear();
    QFile file(m_sFile);
    if (!file.exists())
        return true;
    if (!file.open(QIODevice::ReadOnly))
        return false;
    m_entries = Parse(file.readAll());
    return true;
}

const CBatchJournal::Entry* CBatchJournal::Last(const QString& path) const
{
    const auto it = m_entries.constFind(path);
    return it == m_entries.constEnd() ? nullptr : &it.value();
}

bool CBatchJournal::Append(const Entry& entry)
{
    QByteArray line = Line(entry);
    QFile file(m_sFile);
    // A line torn by a power cut must not swallow the next one.
    if (file.size() > 0 && file.open(QIODevice::ReadOnly) && file.seek(file.size() - 1) && file.read(1) != "\n")
        line.prepend('\n');
    file.close();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return false;
    bool ok = file.write(line) == line.size() && file.flush();
#if defined(Q_OS_UNIX)
    ok = ok && ::fsync(file.handle()) == 0;
#endif
    if (ok)
        m_entries.insert(entry.key.path, entry);
    return ok;
}

QStringList CBatchJournal::Outputs() const
{
    QStringList outputs;
    for (const Entry& entry : m_entries) {
        if (!entry.output.isEmpty())
            outputs.append(entry.output);
    }
    return outputs;
}
