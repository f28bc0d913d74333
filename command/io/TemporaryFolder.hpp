#pragma once

#include "io/Interruption.hpp"

#include <string>
#include <string_view>

namespace flowbook::tool {

/// A folder that only the user can look into; gone with the object, with the files that were put there. A signal that
/// ends the command waits until then.
class TemporaryFolder {
public:
    /// In the folder that TMPDIR names, else in /tmp. @throws Failure.
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    /// Leaves the folder behind.
    void keep() noexcept { isKept_ = true; }

    /// Writes a file that only the user can read and returns its path. @throws Failure.
    std::string put(const std::string& name, std::string_view content) const;

    const std::string& path() const noexcept { return path_; }

private:
    Interruption interruption_;  // released last, when the folder is gone
    std::string path_;
    bool isKept_ = false;
};

}  // namespace flowbook::tool
