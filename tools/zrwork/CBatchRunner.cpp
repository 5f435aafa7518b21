#include "CBatchRunner.h"

#include "CBatchEvents.h"
#include "CBatchInputs.h"
#include "CBatchOutcome.h"
#include "CCliHost.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QThread>

#include <cstdio>

#if defined(Q_OS_UNIX)
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace {

int TerminalWidth()
{
#if defined(Q_OS_UNIX)
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 10)
        return size.ws_col;
#endif
    return 80;
}

} // namespace

CBatchRunner::CBatchRunner(CCliHost& host, int type, const QString& verb, const QVariantMap& params,
                           const CBatchOptions& options, Prepare prepare)
    : m_host(host)
    , m_nType(type)
    , m_sVerb(verb)
    , m_params(params)
    , m_options(options)
    , m_prepare(std::move(prepare))
    , m_bTerminal(CCliHost::StderrIsTerminal() && !options.events)
{
}

CBatchRunner::~CBatchRunner()
{
    CCliHost::SetSink({});
}

bool CBatchRunner::LoadInputs(QString* error)
{
    const QString saveDir = m_params.value(QStringLiteral("sSaveDir")).toString();
    const QString journal = m_options.journal.isEmpty() ? saveDir + QStringLiteral("/zrwork-") + m_sVerb + QStringLiteral(".journal")
                                                        : QFileInfo(m_options.journal).absoluteFilePath();
    m_journal = std::make_unique<CBatchJournal>(journal);
    QDir().mkpath(QFileInfo(journal).absolutePath());
    if (!m_journal->Load()) {
        *error = QStringLiteral("the journal %1 cannot be read").arg(journal);
        return false;
    }

    CBatchInputs::Options inputs;
    inputs.items = m_options.items;
    inputs.fromList = m_options.fromList;
    inputs.recursive = m_options.recursive;
    inputs.globs = m_options.globs;
    inputs.exclude = m_journal->Outputs() << journal;
    inputs.excludeDir = saveDir.isEmpty() ? QString() : QFileInfo(saveDir).absoluteFilePath();
    const QStringList paths = CBatchInputs::Expand(inputs, error);
    if (!error->isEmpty())
        return false;
    if (paths.isEmpty()) {
        *error = QStringLiteral("the batch has no inputs");
        return false;
    }
    for (const QString& path : paths) {
        Slot slot;
        slot.input = path;
        slot.key = CBatchJournal::KeyOf(path);
        const CBatchJournal::Entry* last = m_journal->Last(path);
        if (last && CBatchJournal::IsDone(*last, slot.key)) {
            slot.state = State::Skipped;
            slot.entry = *last;
        } else {
            ++m_nToRun;
        }
        m_slots.append(slot);
    }
    m_nJobs = m_options.Jobs(m_nType, QThread::idealThreadCount());
    return true;
}

void CBatchRunner::Say(const QByteArray& line, bool toStdout)
{
    Erase();
    std::fputs(line.constData(), toStdout ? stdout : stderr);
    std::fflush(toStdout ? stdout : stderr);
}

void CBatchRunner::Erase()
{
    if (m_nDrawn <= 0)
        return;
    std::fprintf(stderr, "\r\x1b[%dA\x1b[J", m_nDrawn);
    m_nDrawn = 0;
}

void CBatchRunner::Draw(bool force)
{
    if (!m_bTerminal)
        return;
    const qint64 now = m_clock.elapsed();
    if (!force && now - m_nLastDraw < 200)
        return;
    m_nLastDraw = now;
    CBatchProgress::State state;
    state.total = m_slots.size();
    state.toRun = m_nToRun;
    state.elapsedMs = now;
    for (const Slot& slot : m_slots) {
        if (slot.state == State::Ended || slot.state == State::Skipped) {
            ++state.done;
            if (!CBatchOutcome::IsSuccess(slot.entry.outcome))
                ++state.failed;
            if (slot.state == State::Ended)
                ++state.ranDone;
        } else if (slot.state == State::Running) {
            state.running.append({slot.input, slot.percent});
        }
    }
    const QStringList lines = CBatchProgress::Block(state, TerminalWidth() - 1);
    Erase();
    std::fputs((lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8().constData(), stderr);
    std::fflush(stderr);
    m_nDrawn = lines.size();
}

void CBatchRunner::Start(int index)
{
    Slot& slot = m_slots[index];
    QVariantMap params = m_params;
    params.insert(QStringLiteral("sFile"), slot.input);
    if (m_prepare) {
        Erase(); // the command may have a word to say on stderr
        m_prepare(params);
    }
    slot.entry.key = slot.key;
    slot.clock.start();
    slot.work = m_host.Lib()->CreateWork(m_nType);
    slot.state = State::Running;
    ++m_nRunning;
    if (m_options.events)
        Say(CBatchEvents::Started(index, m_slots.size(), slot.input), true);
    else if (!m_bTerminal)
        Say(QStringLiteral("started %1/%2 %3\n").arg(index + 1).arg(m_slots.size()).arg(slot.input).toUtf8());
    slot.work->SetParams(params);
    slot.work->StartWork();
}

void CBatchRunner::Drain()
{
    QVector<Message> messages;
    {
        QMutexLocker locker(&m_lock);
        messages.swap(m_queue);
    }
    for (const Message& message : messages) {
        if (message.kind == WorkLibRs_Log) {
            if (CCliHost::Verbose())
                Say(message.map.value(QStringLiteral("log")).toString().toUtf8() + '\n');
            continue;
        }
        // Each input runs once at a time, so its path tells whose message this is.
        const QString input = message.map.value(QStringLiteral("user_data")).toMap().value(QStringLiteral("sFile")).toString();
        for (int i = 0; i < m_slots.size(); ++i) {
            Slot& slot = m_slots[i];
            if (slot.state != State::Running || slot.input != input)
                continue;
            if (message.kind == WorkLibRs_Finished) {
                slot.entry.map = message.map;
            } else {
                const int max = message.map.value(QStringLiteral("nMax")).toInt();
                const int pos = message.map.value(QStringLiteral("nPos")).toInt();
                const int percent = max > 0 ? qBound(0, pos * 100 / max, 100) : 0;
                if (m_options.events && percent != slot.percent)
                    Say(CBatchEvents::Progress(i, slot.input, pos, max), true);
                slot.percent = percent;
            }
            break;
        }
    }
}

void CBatchRunner::Finish(int index)
{
    Slot& slot = m_slots[index];
    slot.work->StopWork();
    slot.work->JoinWork(60000);
    m_host.Lib()->ReleaseWork(slot.work);
    slot.work = nullptr;
    slot.state = State::Ended;
    --m_nRunning;
    CBatchJournal::Entry& entry = slot.entry;
    entry.seconds = slot.clock.elapsed() / 1000.0;
    entry.outcome = CBatchOutcome::Word(m_nType, entry.map);
    entry.output = CBatchOutcome::Output(entry.map);
    if (!m_journal->Append(entry) && !m_bJournalLost) {
        m_bJournalLost = true;
        Say(QStringLiteral("zrwork: the journal %1 cannot be written: nothing of this run is recorded\n").arg(m_journal->File()).toUtf8());
    }
    if (m_options.events) {
        Say(CBatchEvents::Finished(index, slot.input, entry.outcome, entry.output, entry.seconds, entry.map), true);
    } else if (!m_bTerminal) {
        Say(QStringLiteral("finished %1/%2 %3 %4 %5 s\n")
                .arg(index + 1)
                .arg(m_slots.size())
                .arg(slot.input, entry.outcome)
                .arg(entry.seconds, 0, 'f', 1)
                .toUtf8());
    }
}

void CBatchRunner::PrintReady()
{
    if (m_options.events)
        return;
    for (; m_nPrinted < m_slots.size(); ++m_nPrinted) {
        const Slot& slot = m_slots.at(m_nPrinted);
        if (slot.state == State::NotStarted)
            continue;
        if (slot.state != State::Ended && slot.state != State::Skipped)
            return;
        if (!slot.entry.map.isEmpty())
            Say(QJsonDocument(QJsonObject::fromVariantMap(slot.entry.map)).toJson(QJsonDocument::Compact) + '\n', true);
    }
}

void CBatchRunner::StopAll()
{
    for (Slot& slot : m_slots) {
        if (slot.state == State::Running)
            slot.work->StopWork();
    }
}

int CBatchRunner::Run()
{
    m_clock.start();
    QString error;
    if (!LoadInputs(&error)) {
        std::fprintf(stderr, "zrwork: %s\n", error.toUtf8().constData());
        return error.startsWith(QLatin1String("the list")) ? 2 : 1;
    }
    // A type the library lacks is found before anything is recorded.
    if (m_nToRun > 0) {
        CDetWork* probe = m_host.Lib()->CreateWork(m_nType);
        m_host.Lib()->ReleaseWork(probe); // also drops the factory's null entry
        if (!probe) {
            std::fprintf(stderr, "zrwork: no work of type %d is available\n", m_nType);
            return 2;
        }
    }

    CCliHost::SetSink([this](WorkLibRs kind, const QVariantMap& map) {
        QMutexLocker locker(&m_lock);
        m_queue.append({kind, map});
    });
    const CCliHost::Interrupts interrupts;
    for (int i = 0; i < m_slots.size(); ++i) {
        const Slot& slot = m_slots.at(i);
        if (slot.state == State::Skipped && m_options.events)
            Say(CBatchEvents::Finished(i, slot.input, QStringLiteral("skipped"), slot.entry.output, 0, slot.entry.map), true);
    }

    while (true) {
        const int asked = CCliHost::Interrupts::Count();
        if (asked >= 1 && !m_bDraining) {
            m_bDraining = true;
            Say("\nzrwork: no new inputs; the running works finish (Ctrl-C again stops them)\n");
        }
        if (asked >= 2 && !m_bStopping) {
            m_bStopping = true;
            Say("zrwork: stopping the running works after their current step\n");
            StopAll();
        }
        // A finished thread has sent its finished map already: look first, then drain.
        for (Slot& slot : m_slots) {
            if (slot.state == State::Running && slot.work->IsFinished())
                slot.ended = true;
        }
        Drain();
        for (int i = 0; i < m_slots.size(); ++i) {
            if (m_slots.at(i).state == State::Running && m_slots.at(i).ended)
                Finish(i);
        }
        PrintReady();
        while (!m_bDraining && m_nRunning < m_nJobs && m_nNext < m_slots.size()) {
            if (m_slots.at(m_nNext).state == State::Waiting)
                Start(m_nNext);
            ++m_nNext;
        }
        if (m_nRunning == 0 && (m_bDraining || m_nNext >= m_slots.size()))
            break;
        Draw(false);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(20);
    }
    for (int i = 0; i < m_slots.size(); ++i) {
        Slot& slot = m_slots[i];
        if (slot.state == State::Waiting) {
            slot.state = State::NotStarted;
            slot.entry.outcome = QStringLiteral("not_started");
            if (m_options.events)
                Say(CBatchEvents::Finished(i, slot.input, slot.entry.outcome, QString(), 0, {}), true);
        }
    }
    PrintReady();
    Erase();
    return Report();
}

int CBatchRunner::Report()
{
    QVector<CBatchSummary::Row> rows;
    bool allGood = true;
    for (const Slot& slot : m_slots) {
        const bool skipped = slot.state == State::Skipped;
        const QString outcome = skipped ? QStringLiteral("skipped") : slot.entry.outcome;
        rows.append({slot.input, outcome, slot.entry.output, skipped ? 0.0 : slot.entry.seconds});
        allGood = allGood && CBatchOutcome::IsSuccess(outcome);
    }
    std::fputs(CBatchSummary::Table(rows, QDir::currentPath()).constData(), stderr);
    std::fprintf(stderr, "journal: %s\n", m_journal->File().toUtf8().constData());
    if (!m_options.summary.isEmpty()) {
        // Written aside and renamed: never a half-written table.
        QSaveFile csv(m_options.summary);
        const QByteArray text = CBatchSummary::Csv(rows);
        if (!csv.open(QIODevice::WriteOnly) || csv.write(text) != text.size() || !csv.commit()) {
            std::fprintf(stderr, "zrwork: the summary %s cannot be written\n", m_options.summary.toUtf8().constData());
            return 1;
        }
    }
    return allGood ? 0 : 1;
}
