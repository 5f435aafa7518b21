#pragma once
// The lower floors' line to the host: the hub fills it at start-up with its message
// relay and step table, so works and the log writer never reach up into core.

#include <QVariant>
#include <atomic>
#include <vector>

namespace WorkBaseData {

class CHostLink
{
public:
    // The message kinds of the host callback.
    enum Kind { Log = 1, Progress = 2, Finished = 3 };
    using Sender = bool (*)(int kind, const QVariant& value);

    // Called once by the hub, before anything can report.
    static void Install(Sender sender, std::vector<int> steps);
    // Relays to the host; false (message dropped) when no host listens.
    static bool Send(int kind, const QVariant& value);
    // The step table's entry at index; 1 outside it.
    static int GetStep(int index);

private:
    static std::atomic<Sender> s_sender;
    static std::vector<int> s_steps;
};

} // namespace WorkBaseData
