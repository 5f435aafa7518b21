#pragma once
// How a batch judges one work's finished map: its outcome word and what it wrote.

#include <QString>
#include <QVariantMap>

class CBatchOutcome
{
public:
    // "ok"; the map's "resMsg"; or "no_output" when a success names an output that is
    // missing or empty, or comes from a work that reports failure only by leaving its
    // output out (re-encoding, speech to text).
    static QString Word(int type, const QVariantMap& finished);
    // The file or folder the work names as its result ("sOutFile", "sOutDir", "sModel"),
    // in its result map or, for the works that put it there, its parameters.
    static QString Output(const QVariantMap& finished);
    // Outcomes that count as success for the exit status.
    static bool IsSuccess(const QString& word);
};
