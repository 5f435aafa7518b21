#include "COcrArgs.h"

#include <utility>

bool COcrArgs::Parse(const std::vector<std::string>& args)
{
    const std::pair<const char*, std::string*> options[] = {
        {"--models", &sModels}, {"--det", &sDet}, {"--cls", &sCls},
        {"--rec", &sRec}, {"--keys", &sKeys}, {"--image", &sImage}};
    std::vector<bool> seen(std::size(options), false);
    for (size_t i = 0; i < args.size(); i += 2) {
        size_t k = 0;
        while (k < std::size(options) && args[i] != options[k].first)
            ++k;
        if (k == std::size(options)) {
            sError = "unknown option " + args[i];
            return false;
        }
        if (seen[k]) {
            sError = "repeated option " + args[i];
            return false;
        }
        if (i + 1 >= args.size() || args[i + 1].empty()) {
            sError = "missing value for " + args[i];
            return false;
        }
        seen[k] = true;
        *options[k].second = args[i + 1];
    }
    for (size_t k = 0; k < std::size(options); ++k) {
        if (!seen[k]) {
            sError = std::string("missing option ") + options[k].first;
            return false;
        }
    }
    return true;
}

std::string COcrArgs::ModelPath(const std::string& name) const
{
    if (!name.empty() && name.front() == '/')
        return name;
    return sModels + "/" + name;
}
