#pragma once
// The synchronous "detVideoImg" question shared by the re-encoding and motion works,
// and the Mat-to-QImage conversion it answers with.

#include <QImage>
#include <QVariantMap>
#include <functional>

namespace cv { class Mat; }

class CVideoQuery
{
public:
    // A deep copy of an 8-bit BGR, BGRA or grey Mat as a QImage (RGB888, ARGB32 or
    // Grayscale8); a null QImage for an empty Mat or any other depth.
    static QImage MatToQImage(const cv::Mat& mat);

    // Answers {"type": "detVideoImg", "file": path} with the request map plus
    // "desImage" = the file's first frame, and returns 0; returns 1 without calling
    // reply when the file gives no frame; returns -1 for any other "type". reply is
    // released before returning in every case.
    static int Answer(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply);
};
