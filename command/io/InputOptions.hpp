#pragma once

#include "terminal/CommandLine.hpp"
#include "terminal/Diagnosis.hpp"

#include <optional>
#include <string>
#include <vector>

namespace flowbook::tool {

/// One of the files that a command is to work on.
struct InputName {
    std::string path;
    std::optional<Diagnosis> problem;  ///< why it cannot be worked on
};

/// The arguments of a command that works on many files.
struct InputOptions {
    std::vector<std::string> files;
    std::string filesFrom;
    bool separatedByNul = false;
    unsigned jobs = 0;  ///< 0: as many as the machine has cores
    bool json = false;

    /// Adds FILE..., --files-from, -0 and -j. The object must outlive the command's parsing.
    void addTo(Arguments& command);

    /// Adds --json.
    void addJsonTo(Arguments& command);

    /// The files, in the order in which they are worked on: those of a folder in the order of the bytes of
    /// their paths, less hidden ones, links to folders, and what has another extension.
    /// @throws Failure when no file is named, or --files-from cannot be read.
    std::vector<InputName> names() const;
};

}  // namespace flowbook::tool
