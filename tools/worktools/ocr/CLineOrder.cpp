#include "CLineOrder.h"

#include <algorithm>
#include <cmath>

namespace {

// The code point of the first or last UTF-8 character of s.
unsigned EdgeCodePoint(const std::string& s, bool last)
{
    if (s.empty())
        return 0;
    size_t pos = 0;
    if (last) {
        pos = s.size() - 1;
        while (pos > 0 && (static_cast<unsigned char>(s[pos]) & 0xC0) == 0x80)
            --pos;
    }
    const unsigned char lead = static_cast<unsigned char>(s[pos]);
    int extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    unsigned cp = extra == 3 ? lead & 0x07 : extra == 2 ? lead & 0x0F : extra == 1 ? lead & 0x1F : lead;
    for (int k = 1; k <= extra && pos + k < s.size(); ++k)
        cp = (cp << 6) | (static_cast<unsigned char>(s[pos + k]) & 0x3F);
    return cp;
}

bool IsCjk(unsigned cp)
{
    return (cp >= 0x2E80 && cp <= 0x9FFF) || (cp >= 0xF900 && cp <= 0xFAFF) || (cp >= 0xFF00 && cp <= 0xFFEF);
}

} // namespace

std::vector<std::vector<int>> CLineOrder::Order(const std::vector<Box>& boxes)
{
    std::vector<int> byTop(boxes.size());
    for (size_t i = 0; i < boxes.size(); ++i)
        byTop[i] = static_cast<int>(i);
    std::stable_sort(byTop.begin(), byTop.end(), [&](int a, int b) { return boxes[a].fY < boxes[b].fY; });

    struct Line
    {
        std::vector<int> members;
        double centre;
        double height;
    };
    std::vector<Line> lines;
    for (int i : byTop) {
        const Box& box = boxes[i];
        Line* home = nullptr;
        for (Line& line : lines) {
            const double limit = 0.5 * std::min<double>(line.height, box.fHeight);
            if (std::fabs(line.centre - box.fY) <= limit && (!home || std::fabs(line.centre - box.fY) < std::fabs(home->centre - box.fY)))
                home = &line;
        }
        if (!home) {
            lines.push_back(Line{{i}, box.fY, box.fHeight});
            continue;
        }
        const double n = static_cast<double>(home->members.size());
        home->centre = (home->centre * n + box.fY) / (n + 1);
        home->height = (home->height * n + box.fHeight) / (n + 1);
        home->members.push_back(i);
    }
    std::stable_sort(lines.begin(), lines.end(), [](const Line& a, const Line& b) { return a.centre < b.centre; });

    std::vector<std::vector<int>> ordered;
    for (Line& line : lines) {
        std::stable_sort(line.members.begin(), line.members.end(),
                         [&](int a, int b) { return boxes[a].fX < boxes[b].fX; });
        ordered.push_back(line.members);
    }
    return ordered;
}

std::string CLineOrder::Join(const std::vector<std::string>& parts)
{
    std::string text;
    for (const std::string& part : parts) {
        if (part.empty())
            continue;
        if (!text.empty() && !(IsCjk(EdgeCodePoint(text, true)) && IsCjk(EdgeCodePoint(part, false))))
            text += ' ';
        text += part;
    }
    return text;
}
