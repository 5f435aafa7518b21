#include "works/analysis/CFaceMark.h"

#include "base/LittleEndian.h"

#include <cstring>

namespace {

using LittleEndian::Get;
using LittleEndian::Put;

void PutFloat(FaceDataRow::Mark& raw, int offset, float value)
{
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    Put<quint32>(raw, offset, bits);
}

float GetFloat(const FaceDataRow::Mark& raw, int offset)
{
    const quint32 bits = Get<quint32>(raw, offset);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

} // namespace

FaceDataRow::Mark CFaceMark::Pack(const CFaceMark& mark)
{
    FaceDataRow::Mark raw{};
    for (int i = 0; i < 128; ++i)
        PutFloat(raw, 4 * i, mark.descriptor[i]);
    for (int i = 0; i < 4; ++i)
        Put<qint32>(raw, 512 + 4 * i, mark.box[i]);
    for (int i = 0; i < 10; ++i)
        Put<qint16>(raw, 528 + 2 * i, mark.points[i]);
    PutFloat(raw, 548, mark.score);
    Put<qint32>(raw, 552, mark.person);
    Put<qint32>(raw, 556, mark.step);
    Put<qint32>(raw, 560, mark.minFace);
    raw[575] = kVersion;
    return raw;
}

bool CFaceMark::Unpack(const FaceDataRow::Mark& raw, CFaceMark* mark)
{
    if (raw[575] != kVersion)
        return false;
    for (int i = 0; i < 128; ++i)
        mark->descriptor[i] = GetFloat(raw, 4 * i);
    for (int i = 0; i < 4; ++i)
        mark->box[i] = Get<qint32>(raw, 512 + 4 * i);
    for (int i = 0; i < 10; ++i)
        mark->points[i] = Get<qint16>(raw, 528 + 2 * i);
    mark->score = GetFloat(raw, 548);
    mark->person = Get<qint32>(raw, 552);
    mark->step = Get<qint32>(raw, 556);
    mark->minFace = Get<qint32>(raw, 560);
    return true;
}
