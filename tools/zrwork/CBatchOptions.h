#pragma once
// The options that turn a FILE command into a batch, taken out of its arguments.

#include <QString>
#include <QStringList>

class CBatchOptions
{
public:
    QStringList items;   // the FILE arguments: files and folders
    QString fromList;    // --from-list FILE, "-" for standard input
    bool recursive = false;
    QStringList globs;   // --glob PATTERN, repeatable
    int jobs = 0;        // --jobs N; 0 leaves it to the work type
    QString journal;     // --journal FILE; empty: inside the save folder
    QString summary;     // --summary FILE.csv
    bool events = false; // --events

    // Takes the batch options out of args; false with *error set on a bad one.
    bool Take(QStringList& args, QString* error);
    // A single run keeps the plain one-work shape: one FILE that is no folder, no batch option.
    bool IsSingle() const;
    // Works up to this many at once: --jobs, else the cores, else 1 for the types whose
    // tool runs one conversion at a time (the LibreOffice ones).
    int Jobs(int type, int cores) const;

private:
    bool m_bAnyOption = false;
};
