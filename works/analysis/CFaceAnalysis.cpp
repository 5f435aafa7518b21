#include "works/analysis/CFaceAnalysis.h"

#include "base/CHostLink.h"
#include "store/CDBStore.h"
#include "works/analysis/CFaceEngine.h"

#include <algorithm>
#include <limits>

CFaceAnalysis::CFaceAnalysis(const QVariantMap& params, std::shared_ptr<CFaceEngine> engine)
    : CSampledAnalysis(params.value(QStringLiteral("sFile")).toString(), 1,
                       WorkBaseData::CHostLink::GetStep(params.value(QStringLiteral("nStep")).toInt()))
    , m_pEngine(std::move(engine))
    , m_nMinFace(params.value(QStringLiteral("nMinFace")).toInt())
    , m_people(static_cast<float>(params.value(QStringLiteral("dMaxDist")).toDouble()))
{
}

CFaceAnalysis::~CFaceAnalysis() = default;

qint64 CFaceAnalysis::SampleIntervalMs() const
{
    return m_nSamples > 1 ? (m_nLastMs - m_nFirstMs) / (m_nSamples - 1) : 0;
}

void CFaceAnalysis::Take(qint64 id, qint64 timeMs, CFaceMark mark)
{
    mark.person = m_people.Add(mark.descriptor, timeMs);
    m_vFaces.append(Found{id, timeMs, mark});
}

CSampledAnalysis::Stored CFaceAnalysis::TakeStored(const QString& model, const VideoFileRecord& record,
                                                   qint64* resumeAfter, bool* complete)
{
    CDBStore* store = CDBStore::GetInstance();
    qint64 maxKey = 0, count = 0;
    QList<FaceDataRow> rows;
    if (store->GetDataCount(model, 1, count) != 0 || store->GetDataMaxKey(model, 1, maxKey) != 0
        || store->GetDataFace(model, rows, 0, std::numeric_limits<qint64>::max()) != 0)
        return Stored::Failed;
    if (count == 0)
        return Stored::Taken;
    std::sort(rows.begin(), rows.end(), [](const FaceDataRow& a, const FaceDataRow& b) { return a.id < b.id; });
    // Every mark names the settings it was found with; a frame without faces names none.
    for (const FaceDataRow& row : rows) {
        for (const FaceDataRow::Mark& raw : row.marks) {
            CFaceMark mark;
            if (!CFaceMark::Unpack(raw, &mark) || mark.step != FrameStep() || mark.minFace != m_nMinFace)
                return Stored::Ignored;
        }
    }
    // The people are found again exactly as the run that stored the rows found them.
    for (const FaceDataRow& row : rows) {
        ++m_nSamples;
        if (m_nFirstMs < 0)
            m_nFirstMs = row.time;
        m_nLastMs = row.time;
        for (const FaceDataRow::Mark& raw : row.marks) {
            CFaceMark mark;
            CFaceMark::Unpack(raw, &mark);
            Take(row.id, row.time, mark);
        }
    }
    *resumeAfter = maxKey;
    // Only a run that read the file to its end writes the duration.
    *complete = record.duration > 0;
    return Stored::Taken;
}

QString CFaceAnalysis::Measure(const cv::Mat& frame, qint64 id, qint64 timeMs, bool keep)
{
    if (!keep)
        return QString();
    ++m_nSamples;
    if (m_nFirstMs < 0)
        m_nFirstMs = timeMs;
    m_nLastMs = timeMs;
    FaceDataRow row;
    row.id = id;
    row.time = timeMs;
    const cv::Rect picture(0, 0, frame.cols, frame.rows);
    for (const CFaceEngine::Face& face : m_pEngine->Find(frame, m_nMinFace)) {
        CFaceMark mark;
        mark.descriptor = face.descriptor;
        const int box[4] = {face.box.x, face.box.y, face.box.width, face.box.height};
        std::copy(box, box + 4, mark.box);
        for (int i = 0; i < 5; ++i) {
            mark.points[2 * i] = static_cast<qint16>(qRound(face.landmarks[i].x));
            mark.points[2 * i + 1] = static_cast<qint16>(qRound(face.landmarks[i].y));
        }
        mark.score = face.score;
        mark.step = FrameStep();
        mark.minFace = m_nMinFace;
        Take(id, timeMs, mark);
        const CFaceMark& taken = m_vFaces.last().mark;
        row.marks.append(CFaceMark::Pack(taken));
        // The clearest face of each person, with some room around it, for its picture.
        if (!m_hashPictures.contains(taken.person) || face.score > m_hashPictureScore.value(taken.person)) {
            const int pad = face.box.width / 4;
            const cv::Rect around = cv::Rect(face.box.x - pad, face.box.y - pad, face.box.width + 2 * pad,
                                             face.box.height + 2 * pad) & picture;
            m_hashPictures.insert(taken.person, frame(around).clone());
            m_hashPictureScore.insert(taken.person, face.score);
        }
    }
    if (!Model().isEmpty())
        m_lstPending.append(row);
    return QString();
}

bool CFaceAnalysis::StoreRows(const QString& model, int keep)
{
    return StorePending(m_lstPending, keep,
                        [&](const QList<FaceDataRow>& batch) { return CDBStore::GetInstance()->InsertDataFaces(model, batch); });
}
