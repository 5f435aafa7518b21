#include "ModelFolder.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <vector>

namespace fs = std::filesystem;

namespace {

bool EndsWith(const std::string& s, const std::string& tail)
{
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

std::string Lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

// Sorted entries so that the choice does not depend on directory order.
std::vector<fs::path> Entries(const fs::path& dir)
{
    std::vector<fs::path> out;
    std::error_code ec;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec))
        out.push_back(it->path());
    std::sort(out.begin(), out.end());
    return out;
}

// The word-level language model: a phone-level one ("-phone") cannot spell words.
std::string FindFile(const fs::path& dir, bool dictionary)
{
    std::error_code ec;
    for (const fs::path& p : Entries(dir)) {
        const std::string name = p.filename().string();
        if (!fs::is_regular_file(p, ec))
            continue;
        if (dictionary ? EndsWith(name, ".dict")
                       : (name.find("-phone") == std::string::npos
                          && (EndsWith(name, ".lm.bin") || EndsWith(name, ".lm") || EndsWith(name, ".lm.dmp")
                              || EndsWith(name, ".lm.DMP"))))
            return p.string();
    }
    return std::string();
}

} // namespace

std::string ModelFolder::Resolve(const std::string& folder)
{
    std::error_code ec;
    const fs::path root = fs::absolute(fs::path(folder), ec).lexically_normal();
    if (folder.empty() || !fs::is_directory(root, ec))
        return "model folder not found: " + folder;
    fs::path hmm;
    if (fs::is_regular_file(root / "mdef", ec)) {
        hmm = root;
    } else {
        for (const fs::path& p : Entries(root)) {
            if (fs::is_regular_file(p / "mdef", ec)) {
                hmm = p;
                break;
            }
        }
    }
    if (hmm.empty())
        return "no acoustic model (a folder with mdef) in " + root.string();
    const fs::path around[] = {root, hmm, root.parent_path()};
    for (const fs::path& dir : around) {
        if (dictionary.empty())
            dictionary = FindFile(dir, true);
        if (languageModel.empty())
            languageModel = FindFile(dir, false);
    }
    if (dictionary.empty())
        return "no pronunciation dictionary (*.dict) beside " + hmm.string();
    if (languageModel.empty())
        return "no language model (*.lm.bin, *.lm) beside " + hmm.string();
    acoustic = hmm.string();
    std::string name = (root.has_filename() ? root : root.parent_path()).filename().string();
    language = Lower(name);
    return std::string();
}

bool ModelFolder::Serves(const std::string& wanted) const
{
    const std::string w = Lower(wanted);
    if (w.empty())
        return true;
    // "zh" is served by "zh-cn" and "zh", not by "zhx": the code must end at a separator.
    return language.compare(0, w.size(), w) == 0
        && (language.size() == w.size() || language[w.size()] == '-' || language[w.size()] == '_');
}
