#include "CBatchInputs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegExp>
#include <QSet>

#include <cstdio>

QStringList CBatchInputs::ParseList(const QByteArray& text)
{
    QStringList paths;
    for (QByteArray line : text.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        // A path may begin or end with blanks, so only an all-blank line is dropped.
        if (!line.trimmed().isEmpty())
            paths.append(QString::fromUtf8(line));
    }
    return paths;
}

void CBatchInputs::AddFolder(const QString& dir, const Options& options, QStringList& out)
{
    // Hidden files (a desktop's folder notes, say) and batch journals are nobody's input.
    static const QRegExp journal(QStringLiteral("zrwork-*.journal"), Qt::CaseSensitive, QRegExp::Wildcard);
    const QDir folder(dir);
    for (const QString& name : folder.entryList(options.globs, QDir::Files, QDir::Name)) {
        if (!journal.exactMatch(name))
            out.append(folder.absoluteFilePath(name));
    }
    if (!options.recursive)
        return;
    for (const QString& name : folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QFileInfo sub(folder.absoluteFilePath(name));
        // A link back up the tree would never end.
        if (!sub.isSymLink() && sub.absoluteFilePath() != options.excludeDir)
            AddFolder(sub.absoluteFilePath(), options, out);
    }
}

QStringList CBatchInputs::Expand(const Options& options, QString* error)
{
    QStringList items = options.items;
    if (!options.fromList.isEmpty()) {
        QFile list(options.fromList);
        const bool opened = options.fromList == QLatin1String("-") ? list.open(stdin, QIODevice::ReadOnly)
                                                                   : !QFileInfo(options.fromList).isDir() && list.open(QIODevice::ReadOnly);
        if (!opened) {
            *error = QStringLiteral("the list %1 cannot be read").arg(options.fromList);
            return {};
        }
        items += ParseList(list.readAll());
    }

    QStringList out;
    QSet<QString> seen;
    for (const QString& item : items) {
        const QFileInfo info(item);
        QStringList found;
        if (info.isDir()) {
            AddFolder(info.absoluteFilePath(), options, found);
            // Results written beside the inputs are no inputs of the next run.
            for (int i = found.size() - 1; i >= 0; --i) {
                if (options.exclude.contains(found.at(i)))
                    found.removeAt(i);
            }
        } else {
            found.append(info.absoluteFilePath());
        }
        for (const QString& path : found) {
            if (!seen.contains(path)) {
                seen.insert(path);
                out.append(path);
            }
        }
    }
    return out;
}
