#pragma once

#include "foundation/storage/vfs/LocalFile.hpp"

#include <string>

namespace foundation::storage::vfs {

/// How an exchange has ended. In all cases but Done and Entangled the temporary's name stands for the temporary again,
/// or for a file that cannot be looked at.
enum class ExchangeResult {
    Done,        ///< the temporary's name stands for the file that was to be replaced
    Unverified,  ///< done, but what was displaced can neither be looked at nor be put back
    Reverted,    ///< the target was another file than expected, and has its name back
    Entangled,   ///< more programs came between; the temporary's name stands for a version of theirs
    Failed       ///< for the reason in errno, with nothing changed
};

/// Makes a temporary and the file that it replaces change names in one step, and then looks at the file that was
/// displaced. The look is needed because the kernel has no rename that compares: another program may have replaced the
/// target between our last look at it and the exchange.
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
