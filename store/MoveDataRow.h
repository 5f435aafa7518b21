#pragma once
// One analysed frame of the motion work: its change measure and the PSNR block after it.

#include <QtGlobal>

#include <array>

struct MoveDataRow
{
    static constexpr int kPsnrSize = 256;

    qint64 id = 0;   // frame number; primary key
    qint64 time = 0; // the frame's time position
    qint32 diff = 0; // change measure
    std::array<quint8, kPsnrSize> psnr{}; // stored unchanged as a 256-byte blob
};
