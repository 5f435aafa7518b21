#pragma once
// Command line of the recogniser: the model files (relative to --models) and the picture.

#include <string>
#include <vector>

class COcrArgs
{
public:
    std::string sModels;
    std::string sDet;
    std::string sCls;
    std::string sRec;
    std::string sKeys;
    std::string sImage;

    // Reads "--name value" pairs; every option is required once. Returns false with a
    // one-line reason in sError for anything else.
    bool Parse(const std::vector<std::string>& args);
    // A model file: taken as given when absolute, else inside the models folder.
    std::string ModelPath(const std::string& name) const;
    // Where the result goes: the picture's path with "-result.txt" appended.
    std::string ResultPath() const { return sImage + "-result.txt"; }

    std::string sError;
};
