#pragma once
// Fixed-size records kept in the store are little-endian on every machine: these read and
// write one integer at a byte offset of such a record (any contiguous byte container).

#include <QtEndian>

#include <cstring>

namespace LittleEndian {

// Writes value at offset of raw, least significant byte first.
template <typename T, typename Bytes>
void Put(Bytes& raw, int offset, T value)
{
    const T le = qToLittleEndian(value);
    std::memcpy(raw.data() + offset, &le, sizeof le);
}

// Reads the value Put wrote at offset of raw.
template <typename T, typename Bytes>
T Get(const Bytes& raw, int offset)
{
    T le;
    std::memcpy(&le, raw.data() + offset, sizeof le);
    return qFromLittleEndian(le);
}

} // namespace LittleEndian
