#pragma once
// The batch's memory: one JSON line per input that ended, appended as it ends, so a
// batch cut short by Ctrl-C or a power cut resumes where it stopped.

#include <QHash>
#include <QString>
#include <QVariantMap>

class CBatchJournal
{
public:
    // An input is the same input again while its path, size and modification time are.
    struct Key
    {
        QString path;
        qint64 size = -1;  // -1: no such file
        qint64 mtime = 0;  // ms since the epoch
        bool operator==(const Key& other) const { return path == other.path && size == other.size && mtime == other.mtime; }
    };
    struct Entry
    {
        Key key;
        QString outcome; // "ok" or the word that says why not
        QString output;  // the file or folder the work wrote, if it names one
        double seconds = 0;
        QVariantMap map; // the work's finished map
    };

    static Key KeyOf(const QString& path);
    // The entry as one JSON line, newline included.
    static QByteArray Line(const Entry& entry);
    // The last entry of each path; lines that do not parse (one torn by a power cut) are skipped.
    static QHash<QString, Entry> Parse(const QByteArray& text);
    // Done: it succeeded, the input is unchanged, and what it wrote is still there and not empty.
    static bool IsDone(const Entry& entry, const Key& now);
    // A file that is not empty, or a folder that holds something; true for no output at all.
    static bool OutputReady(const QString& path);

    explicit CBatchJournal(const QString& file);
    const QString& File() const { return m_sFile; }
    // Reads the journal; a missing file is an empty journal. False when it cannot be read.
    bool Load();
    const Entry* Last(const QString& path) const;
    // Appends the line in one write and flushes it to the disk; false when it cannot.
    bool Append(const Entry& entry);
    // Every output the journal names, to keep them out of the inputs.
    QStringList Outputs() const;

private:
    QString m_sFile;
    QHash<QString, Entry> m_entries;
};
