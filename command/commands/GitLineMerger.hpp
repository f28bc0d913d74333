#pragma once

#include "kit/compare/LineMerger.hpp"

namespace flowbook::tool {

/// Has `git merge-file` merge lines, on temporaries.
class GitLineMerger : public kit::LineMerger {
public:
    /// @throws Failure when git cannot be run or fails.
    Result merge(const std::string& base, const std::string& ours, const std::string& theirs,
                 kit::Favour favour) const override;
};

}  // namespace flowbook::tool
