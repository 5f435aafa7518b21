// libFuzzer harness for the silence report parser. The first byte picks raw text or a
// report assembled from report fragments, so plausible lines are reached quickly.
#include "work/FFmpegOps.h"

#include <QString>
#include <QVariantMap>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

const char* const kPieces[] = {
    "[silencedetect @ 0x55aa] ", "silence_start", "silence_end", ": ", " | silence_duration: ", "\n", "\r", "\r\n",
    "-", ".", " ", "]", "[", "SILENCE_START", "size=N/A time=00:00:03.00 bitrate=N/A speed= 500x    \r",
    "0", "1", "2", "5", "9", "00000000000000000000", ":",
};

QString assemble(const uint8_t* data, size_t size)
{
    QString text;
    constexpr size_t count = sizeof(kPieces) / sizeof(kPieces[0]);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] < count)
            text += QLatin1String(kPieces[data[i]]);
        else
            text += QChar(data[i]);
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const QString report = (data[0] & 1) ? assemble(data + 1, size - 1)
                                         : QString::fromUtf8(reinterpret_cast<const char*>(data + 1), int(size - 1));
    const QVariantList list = FFmpegOps::ParseSilence(report);
    for (const QVariant& v : list) {
        const QVariantMap m = v.toMap();
        const double start = m.value(QStringLiteral("startTs")).toDouble();
        const double end = m.value(QStringLiteral("endTs")).toDouble();
        if (!(start >= 0 && end > start))
            std::abort();
    }
    return 0;
}
