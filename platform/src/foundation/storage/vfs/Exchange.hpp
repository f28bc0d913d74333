#pragma once

#include "foundation/storage/vfs/LocalFile.hpp"

#include <string>

namespace foundation::storage::vfs {

/// How far an exchange has come. Unless it says otherwise, the temporary's name stands for the temporary.
enum class ExchangeResult {
    Done,        ///< the temporary's name stands for the file that was to be replaced
    Unverified,  ///< done, but what the temporary's name stands for can neither be looked at nor be put back
    Reverted,    ///< the target was another file than expected, which has its name back
    Entangled,   ///< others came between; the temporary's name stands for a version of theirs
    Failed       ///< for the reason in errno; nothing has changed
};

/// Lets a temporary and the file that it replaces change names in one step, and looks at what that has brought out:
/// the kernel has no rename that compares, so another program may have come between the last look and the rename.
class Exchange {
public:
    /// @param directory  the folder of both; `temporary` and `target` are names in it and outlive this object.
    /// @param fresh      the temporary, open.
    /// @param expected   the file to be replaced.
    Exchange(int directory, const std::string& temporary, const std::string& target, int fresh,
             const LocalFile& expected)
        : directory_(directory), temporary_(temporary), target_(target), fresh_(fresh), expected_(expected) {}

    ExchangeResult run() const noexcept;

private:
    enum class Displaced { Wanted, Other, Unknown };

    bool swap() const noexcept;
    Displaced lookAtDisplaced(int wanted) const noexcept;
    Displaced lookForExpected() const noexcept;
    ExchangeResult revert(Displaced displaced) const noexcept;

    int directory_;
    const std::string& temporary_;
    const std::string& target_;
    int fresh_;
    const LocalFile& expected_;
};

}  // namespace foundation::storage::vfs
