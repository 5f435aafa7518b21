#pragma once
// Reads the header of a RIFF/WAVE file and says whether it holds the only layout the
// recogniser takes: 16-bit little-endian PCM, one channel, 16000 samples a second.

#include <cstdint>
#include <istream>
#include <string>

struct WavFormat
{
    std::uint16_t format = 0;
    std::uint16_t channels = 0;
    std::uint32_t rate = 0;
    std::uint16_t bits = 0;
    std::uint64_t dataBytes = 0; // length of the "data" chunk, clamped to the file

    /// Parses the header of @p in and leaves it at the first sample.
    /// @return an empty text on success, else the reason the stream cannot be read.
    std::string Read(std::istream& in, std::uint64_t fileSize);

    /// An empty text when the layout is 16-bit mono 16 kHz PCM, else what differs.
    std::string CheckSpeechLayout() const;
};
