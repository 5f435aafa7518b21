#include "base/CHostLink.h"

namespace WorkBaseData {

std::atomic<CHostLink::Sender> CHostLink::s_sender{nullptr};
std::vector<int> CHostLink::s_steps;

void CHostLink::Install(Sender sender, std::vector<int> steps)
{
    s_steps = std::move(steps);
    s_sender = sender;
}

bool CHostLink::Send(int kind, const QVariant& value)
{
    const Sender sender = s_sender.load();
    return sender && sender(kind, value);
}

int CHostLink::GetStep(int index)
{
    if (index < 0 || index >= static_cast<int>(s_steps.size()))
        return 1;
    return s_steps[static_cast<size_t>(index)];
}

} // namespace WorkBaseData
