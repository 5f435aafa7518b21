#pragma once
// One face as the face work keeps it in a FaceDataRow: its fixed 576-byte mark.

#include "store/FaceDataRow.h"

#include <array>

/**
 * The mark layout, version 1 (little-endian):
 * | bytes    | what |
 * |----------|------|
 * | 0..511   | the descriptor: 128 float32 |
 * | 512..527 | the box: x, y, width, height, int32, in the frame's pixels |
 * | 528..547 | five landmarks (x, y), int16, in the frame's pixels (dlib's 5-point order) |
 * | 548..551 | the detector's score, float32 |
 * | 552..555 | the person's index in this file, int32 (-1 not grouped) |
 * | 556..559 | frames between samples of the analysis that found it, int32 |
 * | 560..563 | the smallest face that analysis looked for, in pixels, int32 |
 * | 564..574 | zero |
 * | 575      | the version, 1 |
 */
struct CFaceMark
{
    static constexpr quint8 kVersion = 1;

    std::array<float, 128> descriptor{};
    qint32 box[4] = {0, 0, 0, 0};
    qint16 points[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    float score = 0;
    qint32 person = -1;
    qint32 step = 1;
    qint32 minFace = 0;

    static FaceDataRow::Mark Pack(const CFaceMark& mark);
    /** False (and *mark untouched) for a mark of another version. */
    static bool Unpack(const FaceDataRow::Mark& raw, CFaceMark* mark);
};
