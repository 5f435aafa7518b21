#pragma once
// The player's test clip: 2 s at 25 frames of 160x120, SMPTE colour bars on top and below
// six black or white blocks, the frame number in binary (lowest bit left), so every
// picture tells which frame it is whatever the encoder's losses.

#include <QImage>
#include <QProcess>

namespace PlayClip {

constexpr int kFrames = 50;

inline bool Make(const QString& path)
{
    QProcess p;
    p.start("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "smptebars=size=160x60:rate=25:duration=2", "-f", "lavfi",
                       "-i", "color=black:size=160x60:rate=25:duration=2,format=gray,geq=lum='255*mod(floor(N/pow(2,floor(X*6/W))),2)'",
                       "-filter_complex", "[0:v]format=yuv420p[a];[1:v]format=yuv420p[b];[a][b]vstack", "-c:v", "libx264", path});
    return p.waitForFinished(60000) && p.exitCode() == 0;
}

// The frame number the picture's lower field tells (at its own scale), -1 for none.
inline int FrameOf(const QImage& picture)
{
    if (picture.isNull())
        return -1;
    int frame = 0;
    for (int bit = 0; bit < 6; ++bit)
        frame |= (qGray(picture.pixel((2 * bit + 1) * picture.width() / 12, picture.height() * 3 / 4)) > 128) << bit;
    return frame;
}

// Whether c is within tol of (r, g, b) in every channel.
inline bool Near(QRgb c, int r, int g, int b, int tol = 12)
{
    return qAbs(qRed(c) - r) <= tol && qAbs(qGreen(c) - g) <= tol && qAbs(qBlue(c) - b) <= tol;
}

// The upper field's first bars at their own scale: grey, yellow, cyan (75 % bars).
inline bool ShowsBars(const QImage& picture)
{
    const int w = picture.width(), y = picture.height() / 8;
    return Near(picture.pixel(w / 14, y), 191, 191, 191, 20) && Near(picture.pixel(w * 3 / 14, y), 191, 191, 0, 20)
        && Near(picture.pixel(w * 5 / 14, y), 0, 191, 191, 20);
}

} // namespace PlayClip
