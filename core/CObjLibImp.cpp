#include "core/CObjLibImp.h"

#include "base/PubUtils.h"
#include "core/CData.h"
#include "core/WorkTypes.h"
#include "store/CDBStore.h"
#include "work/CWorkBase.h"
// One header a row of the work table.
#include "works/analysis/CDetColorWork.h"
#include "works/analysis/CDetFaceWork.h"
#include "works/analysis/CDetMoveWork.h"
#include "works/analysis/CDetVoiceWork.h"
#include "works/analysis/CSplitMoveWork.h"
#include "works/filter/CDFileFltDocx2Pdf.h"
#include "works/filter/CDFileFltPdf2Docx.h"
#include "works/filter/CDPicFltPic2Text.h"
#include "works/filter/CDetAFltAudio2Text.h"
#include "works/filter/CDetAFltRnSilenceWork.h"
#include "works/filter/CDetAFltRnnoiseWork.h"
#include "works/filter/CDetPlayWork.h"
#include "works/filter/CDetVFltNeuStyleWork.h"
#include "works/filter/CDetVFltResGainWork.h"
#include "works/filter/CDetVFltWaifu2x.h"

#include <QDir>
#include <QThread>
#include <algorithm>

using WorkBaseData::PubUtils;

namespace {

// Type numbers are compared unsigned so negative numbers fall outside the table too;
// 11 is deliberately unassigned.
bool IsKnownType(int type)
{
    return static_cast<unsigned>(type) <= 15u && type != 11;
}

// The factory is the work table's rows; a type without a row gives no work.
CDetWork* MakeWork(int type)
{
#define ZRW_WORK_FACTORY(number, cls, ...)                                                                             \
    case number: return new (std::nothrow) cls;
    switch (type) {
        ZRW_WORK_TYPES(ZRW_WORK_FACTORY)
    default: return nullptr;
    }
#undef ZRW_WORK_FACTORY
}

int CatalogueKind(const QString& model)
{
    if (model == QLatin1String("face"))
        return 1;
    if (model == QLatin1String("move"))
        return 2;
    return 0;
}

QVariantMap RowMap(const VideoFileRecord& r)
{
    QVariantMap row;
    row.insert(QStringLiteral("sMd5"), r.key);
    row.insert(QStringLiteral("sPath"), r.path);
    row.insert(QStringLiteral("sName"), r.name);
    row.insert(QStringLiteral("nCTime"), qint64(r.ctime));
    row.insert(QStringLiteral("nWidth"), qint64(r.width));
    row.insert(QStringLiteral("nHeight"), qint64(r.height));
    row.insert(QStringLiteral("nDuration"), qint64(r.duration));
    row.insert(QStringLiteral("nSize"), qint64(r.size));
    row.insert(QStringLiteral("sModel"), r.model);
    row.insert(QStringLiteral("enState"), r.enstate != 0);
    row.insert(QStringLiteral("nMCount"), qint64(r.mcount));
    row.insert(QStringLiteral("sNick"), r.nick);
    row.insert(QStringLiteral("sjsExt"), r.jsext);
    return row;
}

} // namespace

CObjLibImp::CObjLibImp()
{
    connect(WorkBaseData::CData::GetInstance(), &WorkBaseData::CData::sgTimerUpdate, this,
            &CObjLibImp::onTimerUpdate);
}

// The works are the host's to release; only the list itself goes.
CObjLibImp::~CObjLibImp() = default;

void CObjLibImp::EnumDevices(std::function<bool(const QString&)> visitor)
{
    if (!visitor)
        return;
    for (const QString& name : PubUtils::EnumVideoDevices()) {
        if (!visitor(name))
            break;
    }
}

CDetWork* CObjLibImp::CreateWork(int type)
{
    CDetWork* work = IsKnownType(type) ? MakeWork(type) : nullptr;
    // A null entry is kept on purpose: ReleaseWork(nullptr) removes one.
    m_vWorks.push_back(work);
    return work;
}

bool CObjLibImp::ReleaseWork(CDetWork* work)
{
    const auto it = std::find(m_vWorks.begin(), m_vWorks.end(), work);
    if (it == m_vWorks.end())
        return true;
    if (!work || !IsKnownType(work->GetType())) {
        m_vWorks.erase(it);
        return true;
    }
    // Every work is a CWorkBase. A running one is stopped and awaited first; one
    // released from its own thread stays listed, for the host to release later.
    auto* base = dynamic_cast<CWorkBase*>(work);
    if (base && !base->StopBeforeRelease())
        return false;
    m_vWorks.erase(it);
    delete work;
    return true;
}

bool CObjLibImp::MarkModeFile(QString src, QString dst)
{
    return PubUtils::MarkModeFile(src, dst);
}

bool CObjLibImp::UnmarkModeFile(QString src, QString dst)
{
    return PubUtils::UnmarkModeFile(src, dst);
}

bool CObjLibImp::InitModelStore(QString dir)
{
    QDir folder(dir);
    if (!folder.exists())
        folder.mkpath(folder.absolutePath());
    PubUtils::SetSaveDir(dir);
    QVariantMap params;
    params.insert(QStringLiteral("saveDir"), PubUtils::GetSaveDir() + QStringLiteral("/zrModelData"));
    CDBStore::GetInstance()->InitDBTable(params);
    return true;
}

bool CObjLibImp::IsReady()
{
    return true;
}

bool CObjLibImp::ListVideoFiles(const QString& model, qint64 offset, qint64 count, qint64* total,
                                std::function<bool(const QVariantMap&)> visitor)
{
    CDBStore* store = CDBStore::GetInstance();
    const int kind = CatalogueKind(model);
    qint64 rows = 0;
    if (store->GetVideoFileCount(kind, rows) != 0)
        rows = 0;
    if (total)
        *total = rows;

    // Rows offset .. offset+count-1 through the store's pages, which hold at least 10 rows:
    // page offset / size + 1 with size = max(count, 10), less its first offset % size rows,
    // then the next page while wanted rows remain. The first page is read even when no
    // row is wanted, so a catalogue that cannot be read still answers false.
    offset = std::max<qint64>(offset, 0);
    const qint64 size = std::max<qint64>(count, 10);
    qint64 page = offset / size + 1;
    qint64 skip = offset % size;
    qint64 left = std::max<qint64>(count, 0);
    bool visiting = static_cast<bool>(visitor);
    for (;;) {
        QList<VideoFileRecord> list;
        if (store->GetVideoFileList(list, kind, page, size) != 0)
            return false;
        for (qint64 i = skip; i < list.size() && left > 0 && visiting; ++i, --left)
            visiting = visitor(RowMap(list.at(static_cast<int>(i))));
        if (!visiting || left == 0 || list.size() < size)
            break;
        ++page;
        skip = 0;
    }
    return true;
}

void CObjLibImp::onTimerUpdate(int index)
{
    Q_UNUSED(index);
}
