#include "works/analysis/CFaceEngine.h"

#include "base/CLogWriter.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QMutexLocker>

#include <dlib/dnn.h>
#include <dlib/image_processing.h>
#include <dlib/image_processing/frontal_face_detector.h>
#include <dlib/opencv.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

#ifdef Q_OS_UNIX
#include <dlfcn.h>
#endif

namespace {

// dlib's face descriptor network (a ResNet-34 variant), as its model file was trained.
template <template <int, template <typename> class, int, typename> class B, int N, template <typename> class BN, typename S>
using residual = dlib::add_prev1<B<N, BN, 1, dlib::tag1<S>>>;
template <template <int, template <typename> class, int, typename> class B, int N, template <typename> class BN, typename S>
using residual_down = dlib::add_prev2<dlib::avg_pool<2, 2, 2, 2, dlib::skip1<dlib::tag2<B<N, BN, 2, dlib::tag1<S>>>>>>;
template <int N, template <typename> class BN, int stride, typename S>
using block = BN<dlib::con<N, 3, 3, 1, 1, dlib::relu<BN<dlib::con<N, 3, 3, stride, stride, S>>>>>;
template <int N, typename S> using ares = dlib::relu<residual<block, N, dlib::affine, S>>;
template <int N, typename S> using ares_down = dlib::relu<residual_down<block, N, dlib::affine, S>>;
template <typename S> using alevel0 = ares_down<256, S>;
template <typename S> using alevel1 = ares<256, ares<256, ares_down<256, S>>>;
template <typename S> using alevel2 = ares<128, ares<128, ares_down<128, S>>>;
template <typename S> using alevel3 = ares<64, ares<64, ares<64, ares_down<64, S>>>>;
template <typename S> using alevel4 = ares<32, ares<32, ares<32, S>>>;
using DescriptorNet = dlib::loss_metric<dlib::fc_no_bias<128, dlib::avg_pool_everything<
    alevel0<alevel1<alevel2<alevel3<alevel4<dlib::max_pool<3, 3, 2, 2, dlib::relu<dlib::affine<
    dlib::con<32, 7, 7, 2, 2, dlib::input_rgb_image_sized<150>>>>>>>>>>>>>;

constexpr int kChipSize = 150;
constexpr double kChipPadding = 0.25;

// OpenBLAS's worker threads spin while they wait: beside other works, or other programs,
// on a few cores they slow the descriptor down about tenfold. The descriptor runs on the
// work's own thread instead (the works run side by side anyway). Where the BLAS is
// another library, nothing changes.
void OneBlasThread()
{
#ifdef Q_OS_UNIX
    using SetThreads = void (*)(int);
    if (const auto set = reinterpret_cast<SetThreads>(dlsym(RTLD_DEFAULT, "openblas_set_num_threads")))
        set(1);
#endif
}

double Elapsed(QElapsedTimer& clock)
{
    return clock.nsecsElapsed() / 1e6;
}

} // namespace

const char* const CFaceEngine::kShapeModel = "shape_predictor_5_face_landmarks.dat";
const char* const CFaceEngine::kDescriptorModel = "dlib_face_recognition_resnet_model_v1.dat";

struct CFaceEngine::Impl
{
    dlib::frontal_face_detector detector = dlib::get_frontal_face_detector();
    dlib::shape_predictor shapes;
    DescriptorNet net;

    // Faces found in the picture scaled so that minFace meets the detector's window.
    std::vector<dlib::rect_detection> Detect(const cv::Mat& bgr, int minFace, double* scale)
    {
        *scale = std::clamp(double(kDetectorWindow) / std::max(minFace, 1), 0.125, 4.0);
        cv::Mat grey, scaled;
        cv::cvtColor(bgr, grey, bgr.channels() == 4 ? cv::COLOR_BGRA2GRAY : cv::COLOR_BGR2GRAY);
        if (std::abs(*scale - 1) > 1e-6)
            cv::resize(grey, scaled, cv::Size(), *scale, *scale, *scale < 1 ? cv::INTER_AREA : cv::INTER_LINEAR);
        else
            scaled = grey;
        dlib::cv_image<unsigned char> image(scaled);
        std::vector<dlib::rect_detection> found;
        detector(image, found);
        return found;
    }
};

std::shared_ptr<CFaceEngine> CFaceEngine::Get(const QString& folder, QString* error)
{
    static QMutex cacheLock;
    static QHash<QString, std::shared_ptr<CFaceEngine>> cache;
    const QDir dir(folder);
    const QString shapes = dir.filePath(QLatin1String(kShapeModel));
    const QString descriptor = dir.filePath(QLatin1String(kDescriptorModel));
    if (folder.isEmpty() || !QFileInfo(shapes).isFile() || !QFileInfo(descriptor).isFile()) {
        *error = QStringLiteral("face_model_missing");
        return nullptr;
    }
    // A model file replaced in place is loaded again.
    const QString key = QFileInfo(shapes).absoluteFilePath() + QLatin1Char('|')
                        + QString::number(QFileInfo(shapes).lastModified().toMSecsSinceEpoch()) + QLatin1Char('|')
                        + QString::number(QFileInfo(descriptor).lastModified().toMSecsSinceEpoch());
    QMutexLocker locker(&cacheLock);
    if (std::shared_ptr<CFaceEngine> engine = cache.value(key))
        return engine;
    OneBlasThread();
    std::shared_ptr<CFaceEngine> engine(new CFaceEngine);
    try {
        dlib::deserialize(shapes.toLocal8Bit().toStdString()) >> engine->m_pImpl->shapes;
        dlib::deserialize(descriptor.toLocal8Bit().toStdString()) >> engine->m_pImpl->net;
    } catch (const std::exception& e) {
        ZRLOG(WorkBaseData::LOG_WARN, "CFaceEngine::Get", "model in %s does not load: %s", qUtf8Printable(folder), e.what());
        *error = QStringLiteral("face_model_failed");
        return nullptr;
    }
    cache.insert(key, engine);
    return engine;
}

CFaceEngine::CFaceEngine()
    : m_pImpl(new Impl)
{
}

CFaceEngine::~CFaceEngine() = default;

CFaceEngine::Timing CFaceEngine::Timings() const
{
    QMutexLocker locker(&m_lock);
    return m_timing;
}

QVector<cv::Rect> CFaceEngine::Detect(const cv::Mat& bgr, int minFace)
{
    QMutexLocker locker(&m_lock);
    QVector<cv::Rect> boxes;
    if (bgr.empty())
        return boxes;
    double scale = 1;
    for (const dlib::rect_detection& d : m_pImpl->Detect(bgr, minFace, &scale))
        boxes.append(cv::Rect(qRound(d.rect.left() / scale), qRound(d.rect.top() / scale), qRound(d.rect.width() / scale),
                              qRound(d.rect.height() / scale)));
    return boxes;
}

QVector<CFaceEngine::Face> CFaceEngine::Find(const cv::Mat& bgr, int minFace)
{
    QMutexLocker locker(&m_lock);
    QVector<Face> faces;
    if (bgr.empty() || (bgr.channels() != 3 && bgr.channels() != 4))
        return faces;
    QElapsedTimer clock;
    clock.start();
    double scale = 1;
    std::vector<dlib::rect_detection> found = m_pImpl->Detect(bgr, minFace, &scale);
    m_timing.detectMs += Elapsed(clock);
    if (found.empty())
        return faces;

    clock.restart();
    cv::Mat rgb;
    cv::cvtColor(bgr, rgb, bgr.channels() == 4 ? cv::COLOR_BGRA2RGB : cv::COLOR_BGR2RGB);
    dlib::cv_image<dlib::rgb_pixel> image(rgb);
    const cv::Rect picture(0, 0, bgr.cols, bgr.rows);
    std::vector<dlib::matrix<dlib::rgb_pixel>> chips;
    for (const dlib::rect_detection& d : found) {
        const dlib::rectangle box(std::lround(d.rect.left() / scale), std::lround(d.rect.top() / scale),
                                  std::lround(d.rect.right() / scale), std::lround(d.rect.bottom() / scale));
        const dlib::full_object_detection shape = m_pImpl->shapes(image, box);
        Face face;
        face.box = cv::Rect(box.left(), box.top(), box.width(), box.height()) & picture;
        face.score = static_cast<float>(d.detection_confidence);
        for (unsigned i = 0; i < 5 && i < shape.num_parts(); ++i)
            face.landmarks[i] = cv::Point2f(shape.part(i).x(), shape.part(i).y());
        dlib::matrix<dlib::rgb_pixel> chip;
        dlib::extract_image_chip(image, dlib::get_face_chip_details(shape, kChipSize, kChipPadding), chip);
        chips.push_back(std::move(chip));
        faces.append(face);
    }
    m_timing.alignMs += Elapsed(clock);

    clock.restart();
    const std::vector<dlib::matrix<float, 0, 1>> descriptors = m_pImpl->net(chips);
    m_timing.describeMs += Elapsed(clock);
    for (int i = 0; i < faces.size(); ++i)
        std::copy(descriptors[i].begin(), descriptors[i].end(), faces[i].descriptor.begin());
    std::stable_sort(faces.begin(), faces.end(), [](const Face& a, const Face& b) { return a.box.area() > b.box.area(); });
    return faces;
}

float CFaceEngine::Distance(const Descriptor& a, const Descriptor& b)
{
    float sum = 0;
    for (int i = 0; i < kDims; ++i)
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    return std::sqrt(sum);
}
