#pragma once
// Who is who in one file: faces grouped into people by descriptor distance, people named
// after the nearest known person, and the stretches of time each one appears.

#include "works/analysis/CFaceEngine.h"

#include <QString>
#include <QVariantList>
#include <QVector>

/**
 * Grouping is online and deterministic: a face joins the person whose mean descriptor
 * is nearest, if nearer than the distance limit, else it starts a new person. Replaying
 * the same faces in the same order gives the same people (a resumed run relies on it).
 */
class CFacePeople
{
public:
    struct Person
    {
        CFaceEngine::Descriptor mean{};
        int faces = 0;
        QVector<qint64> timesMs;   // each sampled frame the person appears in, in order
        QString name;              // the known person's name, empty when unknown
        float nameDistance = -1;   // distance to that person's nearest picture
    };

    /** A known person's picture: name and descriptor. */
    struct Known
    {
        QString name;
        CFaceEngine::Descriptor descriptor;
    };

    explicit CFacePeople(float maxDistance = CFaceEngine::kSameFace);

    /** Puts the face seen at timeMs into a person; returns the person's index. */
    int Add(const CFaceEngine::Descriptor& descriptor, qint64 timeMs);
    /** Names every person after the nearest known picture nearer than the limit. */
    void Name(const QVector<Known>& known);
    const QVector<Person>& People() const { return m_vPeople; }

    /**
     * Stretches {"startTs", "endTs"} (seconds) of sorted times: a stretch goes on while
     * the next time is at most gapMs later, and ends at the last time seen.
     */
    static QVariantList Stretches(const QVector<qint64>& timesMs, qint64 gapMs);

private:
    float m_fMaxDistance;
    QVector<Person> m_vPeople;
};
