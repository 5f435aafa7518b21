#pragma once
// Puts text boxes into reading order: lines top to bottom, boxes left to right in a line.

#include <string>
#include <vector>

class CLineOrder
{
public:
    struct Box
    {
        float fX;      // left edge
        float fY;      // vertical centre
        float fHeight; // text height
    };

    // Groups box indices into lines. A box joins the line whose running vertical centre lies
    // within half of the smaller of the two heights; lines come out top to bottom, boxes in
    // each line left to right.
    static std::vector<std::vector<int>> Order(const std::vector<Box>& boxes);

    // Joins the texts of one line's boxes: with a space, except between two CJK characters.
    static std::string Join(const std::vector<std::string>& parts);
};
