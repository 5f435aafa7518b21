#include "CCtcDecoder.h"

#include <fstream>

CCtcDecoder::CCtcDecoder(std::vector<std::string> keys)
    : m_keys(std::move(keys))
{
}

bool CCtcDecoder::LoadKeys(const std::string& path, std::vector<std::string>* keys)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    keys->clear();
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        keys->push_back(line);
    }
    return !keys->empty();
}

std::string CCtcDecoder::Decode(const float* scores, int steps, int classes, float* confidence) const
{
    std::string text;
    double sum = 0;
    int kept = 0;
    int prev = 0;
    for (int t = 0; t < steps; ++t) {
        const float* row = scores + static_cast<size_t>(t) * classes;
        int best = 0;
        for (int c = 1; c < classes; ++c) {
            if (row[c] > row[best])
                best = c;
        }
        if (best != 0 && best != prev) {
            if (static_cast<size_t>(best) <= m_keys.size())
                text += m_keys[best - 1];
            else
                text += ' ';
            sum += row[best];
            ++kept;
        }
        prev = best;
    }
    if (confidence)
        *confidence = kept ? static_cast<float>(sum / kept) : 0.f;
    return text;
}
