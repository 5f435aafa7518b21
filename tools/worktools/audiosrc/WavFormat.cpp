#include "WavFormat.h"

namespace {

std::uint32_t Le32(const unsigned char* p)
{
    return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

std::uint16_t Le16(const unsigned char* p)
{
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

bool ReadBytes(std::istream& in, unsigned char* buf, std::size_t n)
{
    in.read(reinterpret_cast<char*>(buf), static_cast<std::streamsize>(n));
    return static_cast<std::size_t>(in.gcount()) == n;
}

} // namespace

std::string WavFormat::Read(std::istream& in, std::uint64_t fileSize)
{
    unsigned char head[12];
    if (!ReadBytes(in, head, sizeof head) || std::string(reinterpret_cast<char*>(head), 4) != "RIFF"
        || std::string(reinterpret_cast<char*>(head) + 8, 4) != "WAVE")
        return "not a RIFF/WAVE file";
    std::uint64_t pos = 12;
    bool haveFormat = false;
    for (;;) {
        unsigned char chunk[8];
        if (!ReadBytes(in, chunk, sizeof chunk))
            return haveFormat ? "no data chunk" : "no fmt chunk";
        pos += 8;
        const std::string id(reinterpret_cast<char*>(chunk), 4);
        const std::uint32_t size = Le32(chunk + 4);
        if (id == "fmt ") {
            unsigned char fmt[16];
            if (size < sizeof fmt || !ReadBytes(in, fmt, sizeof fmt))
                return "short fmt chunk";
            format = Le16(fmt);
            channels = Le16(fmt + 2);
            rate = Le32(fmt + 4);
            bits = Le16(fmt + 14);
            // WAVE_FORMAT_EXTENSIBLE carries the real format code in its sub-format.
            if (format == 0xFFFE && size >= 40) {
                unsigned char ext[24];
                if (!ReadBytes(in, ext, sizeof ext))
                    return "short fmt chunk";
                format = Le16(ext + 8);
                in.seekg(size - 40 + (size & 1), std::ios::cur);
            } else {
                in.seekg(size - 16 + (size & 1), std::ios::cur);
            }
            haveFormat = true;
        } else if (id == "data") {
            if (!haveFormat)
                return "data before the fmt chunk";
            // Streamed writers leave the length unset (0 or all ones): read to the end.
            const std::uint64_t rest = fileSize > pos ? fileSize - pos : 0;
            dataBytes = (size == 0 || size > rest) ? rest : size;
            return std::string();
        } else {
            in.seekg(static_cast<std::streamoff>(size) + (size & 1), std::ios::cur);
        }
        pos += static_cast<std::uint64_t>(size) + (size & 1);
        if (!in)
            return "truncated header";
    }
}

std::string WavFormat::CheckSpeechLayout() const
{
    if (format != 1)
        return "not PCM (format " + std::to_string(format) + ")";
    if (bits != 16)
        return std::to_string(bits) + "-bit samples, 16-bit needed";
    if (channels != 1)
        return std::to_string(channels) + " channels, mono needed";
    if (rate != 16000)
        return std::to_string(rate) + " Hz, 16000 Hz needed";
    return std::string();
}
