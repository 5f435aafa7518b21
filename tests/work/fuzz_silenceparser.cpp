// libFuzzer harness for the silence report parser and the decoded-length reader. An odd
// first byte maps the low bytes to report fragments, so plausible lines are reached quickly.
#include "work/FFmpegOps.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const char* const pieces[] = {"[silencedetect @ 0x5] ", "silence_start", "silence_end", ": ", "\n",
                                         "\r", " | silence_duration: ", "-", ".", "0", "1", "5", "SILENCE_END", "time=", ":"};
    constexpr size_t count = sizeof pieces / sizeof pieces[0];
    QString report;
    for (size_t i = 1; i < size; ++i)
        report += (data[0] & 1) && data[i] < count ? QString(pieces[data[i]]) : QString(QChar(data[i]));
    for (const QVariant& v : FFmpegOps::ParseSilence(report)) {
        const double start = v.toMap()["startTs"].toDouble(), end = v.toMap()["endTs"].toDouble();
        if (!(start >= 0 && end > start))
            std::abort();
    }
    const double decoded = FFmpegOps::ParseDecodedSeconds(report);
    if (!(decoded == -1 || decoded >= 0))
        std::abort();
    return 0;
}
