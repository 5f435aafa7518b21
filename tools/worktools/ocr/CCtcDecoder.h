#pragma once
// Greedy CTC decoding of the recogniser's per-step class scores into text.

#include <string>
#include <vector>

class CCtcDecoder
{
public:
    // Class 0 is the blank, class i is keys[i-1], and the class after the last key is a space.
    explicit CCtcDecoder(std::vector<std::string> keys);

    // Reads one key per line (UTF-8, "\r" stripped). Returns false when the file cannot be read
    // or holds no key.
    static bool LoadKeys(const std::string& path, std::vector<std::string>* keys);

    // scores: steps x classes, row-major. Takes the best class per step, drops blanks and
    // repeats of the previous step. *confidence is the mean best score of the kept steps (0 when
    // nothing is kept).
    std::string Decode(const float* scores, int steps, int classes, float* confidence) const;

    size_t ClassCount() const { return m_keys.size() + 2; }

private:
    std::vector<std::string> m_keys;
};
