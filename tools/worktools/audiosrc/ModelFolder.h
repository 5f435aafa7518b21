#pragma once
// Finds the three pieces pocketsphinx needs in a model folder: the acoustic model
// (the folder holding "mdef"), the pronunciation dictionary and the language model.

#include <string>

struct ModelFolder
{
    std::string acoustic;
    std::string dictionary;
    std::string languageModel;
    std::string language; // what the folder name says it serves, e.g. "en-us"

    /// Takes either a package folder (acoustic model in a sub-folder, dictionary and
    /// language model beside it) or the acoustic folder itself (the others beside it or
    /// one level up). @return an empty text on success, else what is missing.
    std::string Resolve(const std::string& folder);

    /// Whether a "--language" value (e.g. "zh", "en") is served by this model.
    bool Serves(const std::string& wanted) const;
};
