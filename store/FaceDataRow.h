#pragma once
// One analysed frame of the face work: the face marks found in it.

#include <QVector>
#include <QtGlobal>

#include <array>

struct FaceDataRow
{
    // The face library's mark record, kept as raw bytes: a mark is always exactly this long.
    static constexpr int kMarkSize = 576;
    using Mark = std::array<quint8, kMarkSize>;

    qint64 id = 0;   // frame number; primary key
    qint64 time = 0; // the frame's time position
    QVector<Mark> marks;
};
