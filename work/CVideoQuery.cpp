#include "work/CVideoQuery.h"

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

QImage CVideoQuery::MatToQImage(const cv::Mat& mat)
{
    if (mat.empty() || mat.depth() != CV_8U)
        return QImage();
    const int step = static_cast<int>(mat.step);
    switch (mat.channels()) {
    case 1:
        return QImage(mat.data, mat.cols, mat.rows, step, QImage::Format_Grayscale8).copy();
    case 3:
        return QImage(mat.data, mat.cols, mat.rows, step, QImage::Format_RGB888).rgbSwapped();
    case 4:
        return QImage(mat.data, mat.cols, mat.rows, step, QImage::Format_ARGB32).copy();
    default:
        return QImage();
    }
}

int CVideoQuery::Answer(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply)
{
    // Whatever the answer, the caller's function (and what it captured) goes now.
    const auto release = [&reply] { reply = nullptr; };
    const QString type = args.value(QStringLiteral("type")).toString();
    const QString file = args.value(QStringLiteral("file")).toString();
    if (type != QLatin1String("detVideoImg")) {
        release();
        return -1;
    }
    cv::VideoCapture capture;
    cv::Mat frame;
    // The ffmpeg back end reads every file the works take; letting OpenCV probe the
    // others on a file it cannot open starts camera libraries that leak on every probe.
    const bool got = !file.isEmpty() && capture.open(file.toLocal8Bit().toStdString(), cv::CAP_FFMPEG)
                     && capture.grab() && capture.retrieve(frame) && !frame.empty();
    if (!got) {
        release();
        return 1;
    }
    QVariantMap answer = args;
    answer.insert(QStringLiteral("desImage"), MatToQImage(frame));
    if (reply)
        reply(answer);
    release();
    return 0;
}
