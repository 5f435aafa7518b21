#include "works/filter/CDetPlayWork.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CVideoQuery.h"
#include "work/ParamValues.h"
#include "works/filter/BeautifyFilter.h"
#include "works/filter/CPlayClock.h"
#include "works/filter/CPlayTimeline.h"
#include "works/filter/StyleFilter.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <cmath>

#include <opencv2/videoio.hpp>

using WorkBaseData::PubUtils;

namespace {

constexpr double kMaxSpeed = 64;
constexpr qint64 kReportEveryMs = 250;
// The longest the player sleeps (paused, or holding a frame until its time) between
// looks at the working flag: a release stops it without waking it. Requests and
// StopWork wake it sooner.
constexpr qint64 kIdleMs = 100;

CWorkBase::Guards PlayGuards()
{
    CWorkBase::Guards guards;
    guards.bCheckInput = false; // a device run has no "sFile"; DoWork judges the file
    guards.bDeviceInput = true; // a device may come as "sFile" too, as for the colour work
    guards.bNeedSaveDir = false;
    return guards;
}

std::shared_ptr<CFilter> MakeFilter(const QString& name, const QVariantMap& params, bool* ok)
{
    std::shared_ptr<CFilter> filter;
    QVariantMap options;
    if (name == QLatin1String("beautify")) {
        filter = std::make_shared<BeautifyFilter>();
        options = params;
        options.remove(QStringLiteral("bShow")); // no preview window from a player's thread
    } else if (name == QLatin1String("style")) {
        filter = std::make_shared<StyleFilter>();
        options = params.value(QStringLiteral("mapStyle")).toMap();
    } else {
        *ok = name.isEmpty() && *ok;
        return nullptr;
    }
    if (filter->SetFilter(options) != 0) {
        *ok = false;
        return nullptr;
    }
    return filter;
}

qint64 NowMs()
{
    return CPlayFrameSlot::NowNs() / 1000000;
}

} // namespace

CDetPlayWork::CDetPlayWork()
    : CWorkBase(0, PlayGuards())
{
    std::shared_ptr<CFilter> none;
    bool ok = true;
    m_mapParams = Normalise(QVariantMap(), &none, &ok); // a fresh player shows its defaults
}

CDetPlayWork::~CDetPlayWork()
{
    // The run must end before the control and the slot it uses go.
    StopBeforeRelease();
}

QVariantMap CDetPlayWork::Normalise(const QVariantMap& params, std::shared_ptr<CFilter>* filter, bool* ok)
{
    *ok = true;
    QVariantMap out = params;
    double speed = ParamValues::NonNegative(params, "dSpeed", 1.0, ok);
    if (!*ok && speed == 0)
        speed = 1.0; // a negative speed means nothing; 0 is "as fast as possible"
    if (speed > kMaxSpeed) {
        speed = kMaxSpeed;
        *ok = false;
    }
    out.insert(QStringLiteral("dSpeed"), speed);
    ParamValues::Bool(params, "bPause", out, ok);
    ParamValues::Text(params, "sFilter", out, ok);
    *filter = MakeFilter(out.value(QStringLiteral("sFilter")).toString(), params, ok);
    if (!*filter)
        out.insert(QStringLiteral("sFilter"), QString());
    return out;
}

bool CDetPlayWork::SetParams(const QVariantMap& params)
{
    if (m_mapParams.isSharedWith(params) || (m_bPending && m_mapPending.isSharedWith(params)))
        return true;
    bool ok = true;
    std::shared_ptr<CFilter> filter;
    const QVariantMap normalised = Normalise(params, &filter, &ok);
    if (!ok)
        ZRLOG(WorkBaseData::LOG_WARN, FuncName("SetParams").constData(), "parameters normalised (sFilter \"%s\")",
              normalised.value(QStringLiteral("sFilter")).toString().toUtf8().constData());
    m_control.SetSpeed(normalised.value(QStringLiteral("dSpeed")).toDouble());
    m_control.SetFilter(std::move(filter));
    // The work thread reads the parameter map while it runs.
    if (isRunning()) {
        m_mapPending = normalised;
        m_bPending = true;
    } else {
        m_mapParams = normalised;
        m_bPending = false;
    }
    return ok;
}

bool CDetPlayWork::SetValue(const QString& key, const QVariant& value)
{
    if (key == QLatin1String("dSpeed")) {
        bool ok = true;
        const double speed = ParamValues::NonNegative({{key, value}}, "dSpeed", -1, &ok);
        if (!ok || speed > kMaxSpeed)
            return false;
        m_control.SetSpeed(speed);
        return true;
    }
    if (key == QLatin1String("bPause")) {
        if (!value.canConvert<bool>())
            return false;
        m_control.SetPaused(value.toBool());
        return true;
    }
    return CWorkBase::SetValue(key, value);
}

bool CDetPlayWork::StartWork()
{
    if (m_bPending && !isRunning()) {
        m_mapParams = m_mapPending;
        m_bPending = false;
    }
    return CWorkBase::StartWork();
}

bool CDetPlayWork::StopWork()
{
    CWorkBase::StopWork();
    m_control.Wake();
    return true;
}

bool CDetPlayWork::QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply)
{
    const QString type = args.value(QStringLiteral("type")).toString();
    QVariantMap answer = args;
    if (type == QLatin1String("curFrame")) {
        PlayFrame frame;
        if (!m_slot.Latest(&frame))
            return false;
        answer.insert(QStringLiteral("desImage"), CVideoQuery::MatToQImage(frame.picture));
        answer.insert(QStringLiteral("nTime"), frame.nTime);
        answer.insert(QStringLiteral("nFrame"), frame.nFrame);
        answer.insert(QStringLiteral("bPaused"), m_control.IsPaused());
        answer.insert(QStringLiteral("bSeeking"), frame.nSeekGen != m_control.SeekGen());
        answer.insert(QStringLiteral("nAgeUs"), (CPlayFrameSlot::NowNs() - frame.nShownNs) / 1000);
    } else if (type == QLatin1String("seek")) {
        bool ok = false;
        const qint64 ms = args.value(QStringLiteral("nTime")).toLongLong(&ok);
        if (!ok || !m_mapParams.value(QStringLiteral("sDevice")).toString().isEmpty())
            return false;
        const QVariantMap facts = m_slot.Facts();
        const CPlayTimeline line(facts.value(QStringLiteral("dFps")).toDouble(),
                                 facts.value(QStringLiteral("nFrames")).toLongLong());
        const qint64 frame = line.FrameAt(ms);
        // Before the input is open the time is taken as asked.
        const qint64 target = line.Fps() > 0 ? line.TimeOf(frame) : qMax<qint64>(ms, 0);
        m_control.Seek(target);
        answer.insert(QStringLiteral("nTime"), target);
        answer.insert(QStringLiteral("nFrame"), line.Fps() > 0 ? frame : -1);
    } else if (type == QLatin1String("pause") || type == QLatin1String("resume")) {
        m_control.SetPaused(type == QLatin1String("pause"));
        answer.insert(QStringLiteral("bPaused"), type == QLatin1String("pause"));
    } else if (type == QLatin1String("info")) {
        const QVariantMap facts = m_slot.Facts();
        if (facts.isEmpty())
            return false;
        answer.insert(facts);
    } else {
        return false;
    }
    if (reply)
        reply(answer);
    return true;
}

const char* CDetPlayWork::Open(cv::VideoCapture& capture, bool* device)
{
    QString name = m_mapParams.value(QStringLiteral("sDevice")).toString();
    if (name.isEmpty() && PubUtils::IsCaptureDeviceName(InputFile()))
        name = InputFile(); // "0".."99" or /dev/videoN; a file of that name is given as ./0
    *device = !name.isEmpty();
    if (!*device) {
        // Files only, through FFmpeg: no camera or pipeline back end gets a file name.
        if (!PubUtils::IsUsableInput(InputFile())
            || !capture.open(QFile::encodeName(InputFile()).toStdString(), cv::CAP_FFMPEG))
            return "read_input_failed";
        return nullptr;
    }
    // An index or a node; the node is looked at first so that a missing one is not
    // handed to the capture back end (which only complains on stderr).
    static const QRegularExpression index(QStringLiteral("^\\d{1,3}$"));
    const bool isIndex = index.match(name).hasMatch();
#if defined(Q_OS_WIN)
    const bool opened = isIndex && capture.open(name.toInt(), cv::CAP_ANY);
#else
    const QString node = isIndex ? QStringLiteral("/dev/video") + name : name;
    const QFileInfo info(node);
    const bool opened = info.exists() && !info.isFile() && !info.isDir()
                        && capture.open(QFile::encodeName(node).toStdString(), cv::CAP_V4L2);
#endif
    return opened ? nullptr : "open_device_failed";
}

bool CDetPlayWork::Read(cv::VideoCapture& capture, const CPlayTimeline& line, PlayFrame* frame, qint64 prevMs,
                        qint64 startNs)
{
    // Fresh buffers every time: the slot may still hand out the last picture.
    cv::Mat source;
    if (!capture.read(source) || source.empty())
        return false;
    frame->source = source;
    if (line.Fps() <= 0) {
        // A device: frames count and time from the start of the run.
        frame->nFrame = frame->nFrame + 1;
        frame->nTime = (CPlayFrameSlot::NowNs() - startNs) / 1000000;
    } else {
        frame->nFrame = static_cast<qint64>(capture.get(cv::CAP_PROP_POS_FRAMES)) - 1;
        frame->nTime = line.Stamp(capture.get(cv::CAP_PROP_POS_MSEC), frame->nFrame, prevMs);
    }
    return true;
}

void CDetPlayWork::Filter(PlayFrame* frame, const std::shared_ptr<CFilter>& filter)
{
    frame->picture = frame->source;
    if (filter) {
        cv::Mat out;
        if (filter->DoFilter(frame->source, out) == 0 && !out.empty())
            frame->picture = out;
        else if (!m_bFilterFailed) {
            m_bFilterFailed = true;
            ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "filter failed at frame %lld; shown unfiltered",
                  frame->nFrame);
        }
    }
}

void CDetPlayWork::Show(const PlayFrame& frame, bool forceProgress)
{
    m_slot.Publish(frame);
    ++m_nShown;
    if (forceProgress || qAbs(frame.nTime - m_nLastReport) >= kReportEveryMs) {
        m_nLastReport = frame.nTime;
        NotifyProgress(static_cast<int>(frame.nTime), static_cast<int>(m_nDuration));
    }
}

void CDetPlayWork::DoWork()
{
    m_slot.Clear();
    m_nShown = 0;
    m_nLastReport = 0;
    m_bFilterFailed = false;
    PlayState state = m_control.Begin(m_mapParams.value(QStringLiteral("bPause")).toBool());

    cv::VideoCapture capture;
    bool device = false;
    if (const char* word = Open(capture, &device)) {
        Fail(word);
        return;
    }
    const CPlayTimeline line(device ? 0 : capture.get(cv::CAP_PROP_FPS),
                             device ? 0 : static_cast<qint64>(capture.get(cv::CAP_PROP_FRAME_COUNT)));
    m_nDuration = line.DurationMs();
    m_nStartNs = CPlayFrameSlot::NowNs();

    // The first frame proves the input is video; it is shown even when starting paused.
    PlayFrame pending;
    if (!Read(capture, line, &pending, -1, m_nStartNs)) {
        Fail(device ? "open_device_failed" : "read_input_failed");
        return;
    }
    m_slot.SetFacts({{QStringLiteral("nDuration"), m_nDuration},
                     {QStringLiteral("nWidth"), pending.source.cols},
                     {QStringLiteral("nHeight"), pending.source.rows},
                     {QStringLiteral("dFps"), device ? capture.get(cv::CAP_PROP_FPS) : line.Fps()},
                     {QStringLiteral("nFrames"), line.Frames()},
                     {QStringLiteral("bDevice"), device}});
    const char* ending = Play(capture, line, state, pending);
    if (qstrcmp(ending, "end") == 0 && m_nDuration > 0)
        NotifyProgress(static_cast<int>(m_nDuration), static_cast<int>(m_nDuration));
    m_mapResult.insert(QStringLiteral("nShown"), m_nShown);
    m_mapResult.insert(QStringLiteral("nTime"), m_nLastTime);
    m_mapResult.insert(QStringLiteral("sEnd"), QString::fromLatin1(ending));
}

const char* CDetPlayWork::Play(cv::VideoCapture& capture, const CPlayTimeline& line, PlayState state, PlayFrame pending)
{
    const qint64 startNs = m_nStartNs;
    Filter(&pending, state.pFilter);
    bool hasPending = true;
    bool firstShown = false;
    bool atEnd = false;
    PlayFrame shown;

    const bool device = line.Fps() <= 0;
    CPlayClock clock;
    clock.SetSpeed(device ? 0 : state.dSpeed); // a device gives frames at its own pace
    const char* ending = "stop";
    while (m_bWorking) {
        PlayState next;
        if (m_control.Take(&next)) {
            if (!device)
                clock.SetSpeed(next.dSpeed);
            if (next.bPaused != state.bPaused)
                clock.Reset();
            const bool refilter = next.pFilter != state.pFilter;
            state = next;
            if (refilter && hasPending)
                Filter(&pending, state.pFilter);
            if (refilter && firstShown && state.bPaused && !hasPending) {
                Filter(&shown, state.pFilter);
                m_slot.Publish(shown);
            }
        }
        if (state.nSeekMs >= 0 && !device) {
            capture.set(cv::CAP_PROP_POS_FRAMES, static_cast<double>(line.FrameAt(state.nSeekMs)));
            state.nSeekMs = -1;
            atEnd = false;
            clock.Reset();
            hasPending = Read(capture, line, &pending, -1, startNs);
            if (!hasPending) {
                ending = "end";
                break;
            }
            Filter(&pending, state.pFilter);
            pending.nSeekGen = state.nSeekGen;
            shown = pending;
            hasPending = false;
            firstShown = true;
            Show(shown, true);
            continue;
        }
        if (state.bPaused && firstShown) {
            m_control.Wait(kIdleMs);
            continue;
        }
        if (!hasPending && !atEnd) {
            if (Read(capture, line, &pending, shown.nTime, startNs)) {
                Filter(&pending, state.pFilter);
                hasPending = true;
            } else if (!m_bWorking) {
                break;
            } else if (device) {
                Fail("device_lost");
                ending = "lost";
                break;
            } else {
                atEnd = true;
            }
        }
        if (atEnd) {
            // The last frame stays its whole time on screen; a seek meanwhile plays on.
            const qint64 wait = clock.WaitMs(shown.nTime + std::llround(line.FrameMs()), NowMs());
            if (wait > 0) {
                m_control.Wait(qMin(wait, kIdleMs));
                continue;
            }
            ending = "end";
            break;
        }
        pending.nSeekGen = state.nSeekGen;
        // The first frame anchors the clock and is shown at once.
        const qint64 wait = clock.WaitMs(pending.nTime, NowMs());
        if (wait > 0) {
            m_control.Wait(qMin(wait, kIdleMs));
            continue;
        }
        shown = pending;
        hasPending = false;
        firstShown = true;
        Show(shown, false);
    }
    m_nLastTime = shown.nTime;
    return ending;
}
