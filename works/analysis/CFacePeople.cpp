#include "works/analysis/CFacePeople.h"

#include <QVariantMap>

CFacePeople::CFacePeople(float maxDistance)
    : m_fMaxDistance(maxDistance)
{
}

int CFacePeople::Add(const CFaceEngine::Descriptor& descriptor, qint64 timeMs)
{
    int best = -1;
    float bestDistance = m_fMaxDistance;
    for (int i = 0; i < m_vPeople.size(); ++i) {
        const float d = CFaceEngine::Distance(m_vPeople.at(i).mean, descriptor);
        if (d < bestDistance) {
            bestDistance = d;
            best = i;
        }
    }
    if (best < 0) {
        best = m_vPeople.size();
        m_vPeople.append(Person());
    }
    Person& person = m_vPeople[best];
    ++person.faces;
    for (int k = 0; k < CFaceEngine::kDims; ++k)
        person.mean[k] += (descriptor[k] - person.mean[k]) / person.faces;
    // Two faces of one person in one frame count once.
    if (person.timesMs.isEmpty() || person.timesMs.last() != timeMs)
        person.timesMs.append(timeMs);
    return best;
}

void CFacePeople::Name(const QVector<Known>& known)
{
    for (Person& person : m_vPeople) {
        person.name.clear();
        person.nameDistance = -1;
        float bestDistance = m_fMaxDistance;
        for (const Known& k : known) {
            const float d = CFaceEngine::Distance(person.mean, k.descriptor);
            if (d < bestDistance) {
                bestDistance = d;
                person.name = k.name;
                person.nameDistance = d;
            }
        }
    }
}

QVariantList CFacePeople::Stretches(const QVector<qint64>& timesMs, qint64 gapMs)
{
    QVariantList out;
    for (int i = 0; i < timesMs.size();) {
        int j = i;
        while (j + 1 < timesMs.size() && timesMs.at(j + 1) - timesMs.at(j) <= gapMs)
            ++j;
        out.append(QVariantMap{{QStringLiteral("startTs"), timesMs.at(i) / 1000.0},
                               {QStringLiteral("endTs"), timesMs.at(j) / 1000.0}});
        i = j + 1;
    }
    return out;
}
