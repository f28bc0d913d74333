#pragma once

#include <string>

namespace flowbook::kit {

/// Which side a conflict goes to.
enum class Favour {
    None,  ///< markers around both in the code; ours elsewhere
    Ours,
    Theirs
};

/// Merges texts line by line. The kit leaves that to whoever has an engine for it, such as git.
class LineMerger {
public:
    struct Result {
        std::string text;
        bool hasConflicts;
    };

    virtual ~LineMerger() = default;

    /// Every line of the texts ends in a line feed. Where both sides changed the same lines the result has both
    /// between lines that begin with "<<<<<<<", "=======" and ">>>>>>>", unless `favour` decides.
    /// @throws opc::Exception when the engine fails.
    virtual Result merge(const std::string& base, const std::string& ours, const std::string& theirs,
                         Favour favour) const = 0;

protected:
    LineMerger() = default;
    LineMerger(const LineMerger&) = default;
    LineMerger& operator=(const LineMerger&) = default;
};

}  // namespace flowbook::kit
