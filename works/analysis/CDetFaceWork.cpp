#include "works/analysis/CDetFaceWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "store/CDBStore.h"
#include "works/analysis/CFaceAnalysis.h"
#include "works/analysis/CFaceEngine.h"
#include "works/analysis/CFaceMark.h"

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <limits>

using WorkBaseData::PubUtils;

namespace {

CWorkBase::Guards FaceGuards()
{
    CWorkBase::Guards guards;
    guards.bNeedSaveDir = false; // pictures are optional; the folder is made when given
    return guards;
}

cv::Mat ReadPicture(const QString& path)
{
    if (!PubUtils::IsUsableInput(path))
        return cv::Mat();
    try {
        return cv::imread(PubUtils::AbsolutePath(path).toLocal8Bit().toStdString(), cv::IMREAD_COLOR);
    } catch (const cv::Exception&) {
        return cv::Mat();
    }
}

// The known people of folder: each sub-folder's name with the largest face of each of its
// pictures. False when folder is not a readable folder.
bool ReadPeople(CFaceEngine& engine, const QString& folder, int minFace, QVector<CFacePeople::Known>* known)
{
    const QDir dir(folder);
    if (!QFileInfo(folder).isDir() || !dir.isReadable())
        return false;
    const QStringList pictures{"*.jpg", "*.jpeg", "*.png", "*.bmp", "*.webp", "*.JPG", "*.JPEG", "*.PNG"};
    for (const QString& name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QDir person(dir.filePath(name));
        for (const QString& file : person.entryList(pictures, QDir::Files, QDir::Name)) {
            const QVector<CFaceEngine::Face> faces = engine.Find(ReadPicture(person.filePath(file)), minFace);
            if (faces.isEmpty()) {
                ZRLOG(WorkBaseData::LOG_INFO, "CDetFaceWork::ReadPeople", "no face in %s",
                      qUtf8Printable(person.filePath(file)));
                continue;
            }
            known->append(CFacePeople::Known{name, faces.first().descriptor});
        }
    }
    return true;
}

QVariantList DescriptorList(const CFaceEngine::Descriptor& d)
{
    QVariantList out;
    for (float v : d)
        out.append(static_cast<double>(v));
    return out;
}

// Appearances less than the gap apart, or than one and a half sampling intervals, join.
qint64 GapMs(double gapSec, qint64 intervalMs)
{
    return std::max(qRound64(gapSec * 1000), intervalMs * 3 / 2);
}

} // namespace

CDetFaceWork::CDetFaceWork()
    : CSampledWorkBase(3, FaceGuards())
{
}

QString CDetFaceWork::FacesFolder(const QVariantMap& params)
{
    const QString given = params.value(QStringLiteral("sWorkPath")).toString();
    if (!given.isEmpty())
        return PubUtils::AbsolutePath(given);
    const QString app = PubUtils::GetAppDir();
    for (const char* rel : {"/../worktools/faces", "/../lib/zrworklib/worktools/faces", "/worktools/faces"}) {
        const QFileInfo dir(app + QLatin1String(rel));
        if (dir.isDir())
            return dir.absoluteFilePath();
    }
    return QString();
}

void CDetFaceWork::DoWork()
{
    bool ok = true;
    const QVariantMap params = Normalise(m_mapParams, GetType(), &ok);
    const int minFace = params.value(QStringLiteral("nMinFace")).toInt();
    if (!SaveDir().isEmpty() && !QDir().mkpath(SaveDir()))
        return Fail("save_dir_failed");
    QString failure;
    const std::shared_ptr<CFaceEngine> engine = CFaceEngine::Get(FacesFolder(params), &failure);
    if (!engine)
        return Fail(failure.toLatin1().constData());
    QVector<CFacePeople::Known> known;
    const QString people = params.value(QStringLiteral("sPeople")).toString();
    if (!people.isEmpty() && !ReadPeople(*engine, PubUtils::AbsolutePath(people), minFace, &known))
        return Fail("people_read_failed");

    CFaceAnalysis analysis(params, engine);
    failure = analysis.Run([this] { return m_bWorking.load(); }, [this](int pos) { NotifyProgress(pos); });
    m_mapResult.insert(QStringLiteral("nFrameStep"), analysis.FrameStep());
    m_mapResult.insert(QStringLiteral("nDecoded"), analysis.Decoded());
    if (!analysis.Model().isEmpty())
        m_mapResult.insert(QStringLiteral("sModel"), analysis.Model());
    if (!failure.isEmpty())
        return Fail(failure.toLatin1().constData());

    analysis.People().Name(known);
    const qint64 gapMs = GapMs(params.value(QStringLiteral("dGapSec")).toDouble(), analysis.SampleIntervalMs());
    const QString base = QFileInfo(InputFile()).completeBaseName();
    QVariantList list;
    QStringList written;
    for (int i = 0; i < analysis.People().People().size(); ++i) {
        const CFacePeople::Person& person = analysis.People().People().at(i);
        QVariantMap entry{{QStringLiteral("nPerson"), i},
                          {QStringLiteral("sName"), person.name},
                          {QStringLiteral("dNameDist"), static_cast<double>(person.nameDistance)},
                          {QStringLiteral("nFaces"), person.faces},
                          {QStringLiteral("lstStretches"), CFacePeople::Stretches(person.timesMs, gapMs)}};
        if (!SaveDir().isEmpty() && analysis.Pictures().contains(i)) {
            // A name that cannot be a file name falls back to the person's number.
            const QString label = PubUtils::CheckFileName(person.name).isEmpty()
                                      ? QStringLiteral("person%1").arg(i)
                                      : person.name;
            const QString path = PubUtils::MakeUniqueFilePath(SaveDir(), base + QLatin1Char('-') + label, QStringLiteral("jpg"));
            bool saved = false;
            try {
                saved = cv::imwrite(path.toLocal8Bit().toStdString(), analysis.Pictures().value(i));
            } catch (const cv::Exception&) {
                saved = false;
            }
            if (!saved) {
                // Nothing half-written: the pictures of this run go with it.
                for (const QString& file : written)
                    QFile::remove(file);
                QFile::remove(path);
                return Fail("save_dir_failed");
            }
            written.append(path);
            entry.insert(QStringLiteral("sPicture"), path);
        }
        list.append(entry);
    }
    m_mapResult.insert(QStringLiteral("nFaces"), analysis.Faces().size());
    m_mapResult.insert(QStringLiteral("nSamples"), analysis.Samples());
    m_mapResult.insert(QStringLiteral("nPeople"), list.size());
    m_mapResult.insert(QStringLiteral("lstPeople"), list);
}

bool CDetFaceWork::QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply)
{
    const QString type = args.value(QStringLiteral("type")).toString();
    if (type != QLatin1String("detFaceImg") && type != QLatin1String("findFace"))
        return false;
    bool ok = true;
    const QVariantMap params = Normalise(args, GetType(), &ok);
    const int minFace = params.value(QStringLiteral("nMinFace")).toInt();
    QVariantMap out{{QStringLiteral("resMsg"), QString()}};
    const auto answer = [&](const char* word) {
        out.insert(QStringLiteral("resMsg"), QLatin1String(word));
        reply(out);
        return *word == 0;
    };
    const auto faces = [&](const QString& file, QVector<CFaceEngine::Face>* found) -> const char* {
        const cv::Mat picture = ReadPicture(file);
        if (picture.empty())
            return "read_input_failed";
        QString failure;
        const std::shared_ptr<CFaceEngine> engine = CFaceEngine::Get(FacesFolder(params), &failure);
        if (!engine)
            return failure == QLatin1String("face_model_missing") ? "face_model_missing" : "face_model_failed";
        *found = engine->Find(picture, minFace);
        return "";
    };

    if (type == QLatin1String("detFaceImg")) {
        QVector<CFaceEngine::Face> found;
        if (const char* word = faces(args.value(QStringLiteral("file")).toString(), &found); *word)
            return answer(word);
        QVariantList list;
        for (const CFaceEngine::Face& face : found)
            list.append(QVariantMap{{QStringLiteral("nX"), face.box.x}, {QStringLiteral("nY"), face.box.y},
                                    {QStringLiteral("nW"), face.box.width}, {QStringLiteral("nH"), face.box.height},
                                    {QStringLiteral("dScore"), static_cast<double>(face.score)},
                                    {QStringLiteral("lstDesc"), DescriptorList(face.descriptor)}});
        out.insert(QStringLiteral("nFaces"), list.size());
        out.insert(QStringLiteral("lstFaces"), list);
        return answer("");
    }

    // findFace: the face asked about, then the stored rows of the file.
    CFaceEngine::Descriptor wanted{};
    const QVariantList given = args.value(QStringLiteral("lstDesc")).toList();
    if (given.size() == CFaceEngine::kDims) {
        for (int i = 0; i < CFaceEngine::kDims; ++i)
            wanted[i] = given.at(i).toFloat();
    } else {
        QVector<CFaceEngine::Face> found;
        if (const char* word = faces(args.value(QStringLiteral("image")).toString(), &found); *word)
            return answer(word);
        if (found.isEmpty())
            return answer("face_not_found");
        wanted = found.first().descriptor;
    }
    CDBStore* store = CDBStore::GetInstance();
    QString model = args.value(QStringLiteral("sModel")).toString();
    if (model.isEmpty()) {
        VideoFileRecord record;
        const QString file = args.value(QStringLiteral("file")).toString();
        if (store->CataloguePath().isEmpty() || !PubUtils::IsUsableInput(file)
            || store->GetVideoFile(PubUtils::AbsolutePath(file), record, false, 1) != 0)
            return answer("face_not_analysed");
        model = record.model;
    }
    // Asking must not make a model: only a file the store made answers.
    if (model.isEmpty() || !QFileInfo(model).isFile())
        return answer("face_not_analysed");
    const bool wasOpen = store->IsModelOpen(model);
    if (store->OpenModelTable(model, 1) != 0)
        return answer("store_write_failed");
    auto close = qScopeGuard([&] {
        if (!wasOpen)
            store->CloseModelTable(model);
    });
    QList<FaceDataRow> rows;
    if (store->GetDataFace(model, rows, 0, std::numeric_limits<qint64>::max()) != 0)
        return answer("store_write_failed");
    std::sort(rows.begin(), rows.end(), [](const FaceDataRow& a, const FaceDataRow& b) { return a.id < b.id; });
    const float limit = static_cast<float>(params.value(QStringLiteral("dMaxDist")).toDouble());
    float nearest = -1;
    QVector<qint64> times;
    for (const FaceDataRow& row : rows) {
        bool here = false;
        for (const FaceDataRow::Mark& raw : row.marks) {
            CFaceMark mark;
            if (!CFaceMark::Unpack(raw, &mark))
                continue;
            const float d = CFaceEngine::Distance(mark.descriptor, wanted);
            nearest = nearest < 0 ? d : std::min(nearest, d);
            here = here || d < limit;
        }
        if (here)
            times.append(row.time);
    }
    const qint64 intervalMs = rows.size() > 1 ? (rows.last().time - rows.first().time) / (rows.size() - 1) : 0;
    QVariantList seconds;
    for (qint64 t : times)
        seconds.append(t / 1000.0);
    out.insert(QStringLiteral("sModel"), model);
    out.insert(QStringLiteral("dDistance"), static_cast<double>(nearest));
    out.insert(QStringLiteral("lstTimes"), seconds);
    out.insert(QStringLiteral("lstStretches"),
               CFacePeople::Stretches(times, GapMs(params.value(QStringLiteral("dGapSec")).toDouble(), intervalMs)));
    return answer("");
}
