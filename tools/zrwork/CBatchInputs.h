#pragma once
// Turns what a batch names (files, folders, a list file) into the ordered inputs it runs.

#include <QString>
#include <QStringList>

class CBatchInputs
{
public:
    struct Options
    {
        QStringList items;  // files and folders as given
        QString fromList;   // a file of paths, one a line; "-" is standard input
        bool recursive = false;
        QStringList globs;  // file-name patterns a folder's files must match (any of them)
        QStringList exclude; // absolute paths left out of folders: the journal, the outputs
        QString excludeDir; // a sub-folder never entered (the save folder inside an input folder)
    };

    // Absolute paths in the order given, each once. A folder gives its files in name
    // order (sub-folders too with recursive, after the folder's own files), leaving out
    // hidden files and batch journals ("zrwork-*.journal"); a named path
    // that does not exist stays an input, so its work says why it cannot be read.
    // *error names a list file that cannot be read.
    static QStringList Expand(const Options& options, QString* error);

    // The paths of a list: one a line, blank lines and trailing carriage returns dropped.
    static QStringList ParseList(const QByteArray& text);

private:
    static void AddFolder(const QString& dir, const Options& options, QStringList& out);
};
