#pragma once

#include "terminal/Diagnosis.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::tool {

/// One of the files that a command is to work on.
struct InputName {
    std::string path;
    std::string nameInFolder;          ///< what is made of it is called so in a folder for several
    std::optional<Diagnosis> problem;  ///< why it cannot be worked on
};

/// The arguments of a command that works on many files.
struct InputOptions {
    std::vector<std::string> files;
    std::vector<std::string> filesFrom;
    bool separatedByNul = false;
    unsigned jobs = 0;  ///< 0: as many as the machine has cores, or more where files are saved
    bool allowEmpty = false;
    bool json = false;
    std::string separator;  ///< stands between what is printed for two inputs

    /// The files, in the order in which they are worked on: those of a folder in the order of the bytes of
    /// their paths, less hidden ones, links to folders, and what has another extension. A folder without any is
    /// a problem, unless `allowEmpty`.
    /// @throws Failure when no file is named, or --files-from cannot be read or names none.
    std::vector<InputName> names() const;
};

/// Whether there is a folder of this name, or a link that leads to one.
bool isFolder(const std::string& path);

/// As InputOptions::names(), for a command that makes one file of each input in one folder: where two inputs would have
/// the same name there, the second is a problem.
std::vector<InputName> namesForFolder(const InputOptions& inputs);

/// The input of a command that makes one file.
/// @throws Failure (usage) when there are several inputs, and as InputOptions::names().
std::vector<InputName> onlyInput(const InputOptions& inputs);

}  // namespace flowbook::tool
