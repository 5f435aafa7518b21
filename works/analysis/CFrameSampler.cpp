#include "works/analysis/CFrameSampler.h"

#include "base/PubUtils.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include <algorithm>
#include <cmath>

using WorkBaseData::PubUtils;

CFrameSampler::CFrameSampler(int step)
    : m_nStep(std::max(1, step))
{
}

CFrameSampler::~CFrameSampler() = default;

QString CFrameSampler::Open(const QString& input)
{
    if (PubUtils::IsCaptureDeviceName(input)) {
#if defined(Q_OS_LINUX)
        const int api = cv::CAP_V4L2;
#else
        const int api = cv::CAP_ANY;
#endif
        auto capture = std::make_unique<cv::VideoCapture>();
        const bool index = !input.startsWith(QLatin1Char('/'));
        const bool opened = index ? capture->open(input.toInt(), api) : capture->open(input.toStdString(), api);
        if (!opened || !capture->isOpened())
            return QStringLiteral("open_device_failed");
        m_pCapture = std::move(capture);
        m_enKind = Kind::Device;
        return QString();
    }
    if (!PubUtils::IsUsableInput(input))
        return QStringLiteral("read_input_failed");
    const std::string path = input.toLocal8Bit().toStdString();
    // A picture is judged by its content, whatever its name says.
    bool picture = false;
    try {
        picture = cv::haveImageReader(path);
        if (picture)
            m_picture = cv::imread(path, cv::IMREAD_COLOR);
    } catch (const cv::Exception&) {
        m_picture.release();
    }
    if (picture) {
        if (m_picture.empty())
            return QStringLiteral("read_input_failed");
        m_enKind = Kind::Picture;
        m_nFrames = 1;
        return QString();
    }
    auto capture = std::make_unique<cv::VideoCapture>();
    if (!capture->open(path, cv::CAP_FFMPEG) || !capture->isOpened())
        return QStringLiteral("read_input_failed");
    const double fps = capture->get(cv::CAP_PROP_FPS);
    if (fps > 0 && fps < 1000)
        m_dInterval = 1000 / fps;
    m_nFrames = std::max<qint64>(0, static_cast<qint64>(capture->get(cv::CAP_PROP_FRAME_COUNT)));
    m_pCapture = std::move(capture);
    m_enKind = Kind::Video;
    return QString();
}

bool CFrameSampler::Next(cv::Mat& frame, qint64* id, qint64* timeMs)
{
    if (m_enKind == Kind::Picture) {
        if (m_nRead > 0)
            return false;
        m_nRead = 1;
        frame = m_picture;
        *id = 0;
        *timeMs = 0;
        return true;
    }
    if (!m_pCapture)
        return false;
    for (;;) {
        if (!m_pCapture->grab())
            return false;
        const qint64 f = m_nRead++;
        if (f % m_nStep != 0 || !m_pCapture->retrieve(frame) || frame.empty())
            continue; // skipped frames are never converted
        double ms = m_pCapture->get(cv::CAP_PROP_POS_MSEC);
        if (m_enKind == Kind::Device) {
            if (m_dFirstDeviceTime < 0)
                m_dFirstDeviceTime = ms;
            ms -= m_dFirstDeviceTime;
        }
        qint64 t = std::isfinite(ms) && ms >= 0 ? qRound64(ms) : -1;
        if (m_nLastTime < 0)
            t = std::max<qint64>(t, 0);
        else if (t <= m_nLastTime)
            t = m_nLastTime + std::max<qint64>(1, qRound64(m_dInterval * m_nStep));
        m_nLastTime = t;
        *id = f;
        *timeMs = t;
        return true;
    }
}

int CFrameSampler::Progress() const
{
    if (m_nFrames <= 0)
        return 0;
    return static_cast<int>(std::min<qint64>(99, m_nRead * 100 / m_nFrames));
}
