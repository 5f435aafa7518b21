// Face analysis against a bare OpenCV decode loop and against detection alone, in one run:
//  1. the bare decode loop over a generated 1280x720 clip with two faces (frames/s);
//  2. detection alone on every step-th frame (dlib's HOG, as the work uses it, and
//     OpenCV's Haar cascade from Debian's opencv-data for comparison), and the whole
//     analysis (detection, alignment, descriptor) without the store, at each step
//     asked: frames/s and the time against the bare loop; the share of each stage;
//  3. the search of "zrwork who": one face looked for in 20 analysed one-minute files
//     (models of 1800 rows at 30 fps, one or two faces a row), time per query.
//
// Usage: bench_face [SECONDS, default 60] [STEP INDEXES, default 0,2,4,6]

#include "base/CHostLink.h"
#include "bench/BenchClip.h"
#include "core/CData.h"
#include "core/CObjLibImp.h"
#include "store/CDBStore.h"
#include "works/analysis/CDetFaceWork.h"
#include "works/analysis/CFaceAnalysis.h"
#include "works/analysis/CFaceEngine.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>

#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>
#include <opencv2/videoio.hpp>

#include <cstdio>
#include <random>

using BenchClip::Seconds;

namespace {

void Quiet(WorkLibRs, const QVariant&) {}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(1, atoi(argv[1])) : 60;
    QList<int> steps{0, 2, 4, 6};
    if (argc > 2) {
        steps.clear();
        for (const QString& s : QString(argv[2]).split(','))
            steps << s.toInt();
    }
    QTemporaryDir tmp;
    WorkBaseData::CData::GetInstance()->Init(&Quiet, QVariantMap{{"appData", tmp.path()}});

    // Two faces walking in and out of a 720p picture.
    const QString clip = tmp.filePath("faces.mp4");
    const QString d = QString::number(seconds);
    if (QProcess::execute("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc2=s=1280x720:r=30:d=" + d,
                                     "-loop", "1", "-i", "/usr/share/doc/facedetect/examples/grace_hopper_512x512.jpg",
                                     "-loop", "1", "-i", "/usr/share/doc/opencv-doc/examples/data/messi5.jpg", "-filter_complex",
                                     "[1]scale=300:300[g];[2]crop=150:150:190:55,scale=300:300[m];"
                                     "[0][g]overlay=x='100+mod(t*40,400)':y=150:enable='lt(mod(t,10),6)':shortest=1[a];"
                                     "[a][m]overlay=x=800:y='100+mod(t*30,200)':enable='gte(mod(t,10),4)':shortest=1",
                                     "-t", d, "-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", clip}) != 0) {
        std::fprintf(stderr, "bench_face: ffmpeg could not make the clip\n");
        return 1;
    }
    QString error;
    const std::shared_ptr<CFaceEngine> engine = CFaceEngine::Get(CDetFaceWork::FacesFolder({}), &error);
    if (!engine) {
        std::fprintf(stderr, "bench_face: %s\n", qPrintable(error));
        return 1;
    }

    qint64 frames = 0;
    const double bare = Seconds([&] { frames = BenchClip::BareDecode(clip); });
    std::printf("clip: %d s of 1280x720 at 30 fps, %lld frames\n", seconds, static_cast<long long>(frames));
    std::printf("bare decode loop: %.2f s, %.1f frames/s\n", bare, frames / bare);

    for (int index : steps) {
        bool ok = true;
        const QVariantMap params = CSampledWorkBase::Normalise({{"sFile", clip}, {"nStep", index}}, 3, &ok);
        const int step = WorkBaseData::CHostLink::GetStep(index);
        int found = 0;
        const double detect = Seconds([&] {
            cv::VideoCapture capture(clip.toStdString(), cv::CAP_FFMPEG);
            cv::Mat frame;
            for (qint64 f = 0; capture.grab(); ++f) {
                if (f % step == 0 && capture.retrieve(frame))
                    found += engine->Detect(frame, params.value("nMinFace").toInt()).size();
            }
        });
        int haarFound = 0;
        cv::CascadeClassifier haar("/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml");
        const int minFace = params.value("nMinFace").toInt();
        const double haarTime = haar.empty() ? -1 : Seconds([&] {
            cv::VideoCapture capture(clip.toStdString(), cv::CAP_FFMPEG);
            cv::Mat frame, grey;
            std::vector<cv::Rect> faces;
            for (qint64 f = 0; capture.grab(); ++f) {
                if (f % step != 0 || !capture.retrieve(frame))
                    continue;
                cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
                haar.detectMultiScale(grey, faces, 1.1, 3, 0, cv::Size(minFace, minFace));
                haarFound += static_cast<int>(faces.size());
            }
        });
        std::printf("step %3d: Haar cascade alone %.2f s (x%.2f HOG alone), %d boxes; HOG %d boxes\n", step, haarTime,
                    haarTime / detect, haarFound, found);
        const CFaceEngine::Timing before = engine->Timings();
        CFaceAnalysis analysis(params, engine);
        const double whole = Seconds([&] { analysis.Run([] { return true; }, [](int) {}); });
        const CFaceEngine::Timing after = engine->Timings();
        const double det = after.detectMs - before.detectMs, ali = after.alignMs - before.alignMs,
                     des = after.describeMs - before.describeMs;
        std::printf("step %3d: detection alone %.2f s (%.1f frames/s, x%.2f bare); analysis %.2f s (%.1f frames/s, x%.2f bare, "
                    "x%.2f detection alone); %d faces; detection %.0f%%, alignment %.0f%%, descriptor %.0f%%, rest %.0f%%\n",
                    step, detect, frames / detect, detect / bare, whole, frames / whole, whole / bare, whole / detect,
                    analysis.Faces().size(), 100 * det / (whole * 1000), 100 * ali / (whole * 1000), 100 * des / (whole * 1000),
                    100 - 100 * (det + ali + des) / (whole * 1000));
    }

    // The search: 20 catalogued files whose models hold a minute of rows each.
    CDBStore* store = CDBStore::GetInstance();
    store->InitDBTable({{"saveDir", tmp.filePath("store")}});
    std::mt19937 random(7);
    std::normal_distribution<float> noise(0, 0.05f);
    QStringList models;
    for (int k = 0; k < 20; ++k) {
        const QString file = tmp.filePath(QString("f%1.bin").arg(k));
        QFile out(file);
        out.open(QIODevice::WriteOnly);
        out.write(QByteArray::number(k));
        out.close();
        VideoFileRecord record;
        store->GetVideoFile(file, record, true, 1);
        store->UpdateVideoFile(record, {{"duration", 60000}});
        store->OpenModelTable(record.model, 1);
        QList<FaceDataRow> rows;
        for (int f = 0; f < 1800; ++f) {
            FaceDataRow row;
            row.id = f;
            row.time = f * 1000 / 30;
            for (int m = 0; m < 1 + f % 2; ++m) {
                CFaceMark mark;
                for (float& v : mark.descriptor)
                    v = noise(random) + (m ? 0.05f : -0.05f);
                row.marks.append(CFaceMark::Pack(mark));
            }
            rows.append(row);
        }
        store->InsertDataFaces(record.model, rows);
        store->CloseModelTable(record.model);
        models << record.model;
    }
    CDetWork* work = WorkBaseData::CData::GetInstance()->GetWorkLib()->CreateWork(3);
    QVariantList wanted;
    for (int i = 0; i < 128; ++i)
        wanted << -0.05;
    const int queries = 3;
    int hits = 0;
    const double search = Seconds([&] {
        for (int q = 0; q < queries; ++q) {
            for (const QString& model : models)
                work->QueryWork({{"type", "findFace"}, {"sModel", model}, {"lstDesc", wanted}}, [&](const QVariantMap& m) {
                    hits += !m.value("lstTimes").toList().isEmpty();
                    return true;
                });
        }
    });
    WorkBaseData::CData::GetInstance()->GetWorkLib()->ReleaseWork(work);
    std::printf("who over 20 analysed one-minute files (36000 rows, 54000 faces): %.3f s per query (%d of %d files matched)\n",
                search / queries, hits / queries, static_cast<int>(models.size()));
    return 0;
}
