#include "foundation/storage/vfs/Exchange.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>

namespace foundation::storage::vfs {

ExchangeResult Exchange::run() const noexcept {
    if (!swap()) {
        return ExchangeResult::Failed;
    }
    const Displaced displaced = lookForExpected();
    return displaced == Displaced::Wanted ? ExchangeResult::Done : revert(displaced);
}

bool Exchange::swap() const noexcept {
    return ::renameat2(directory_, temporary_.c_str(), directory_, target_.c_str(), RENAME_EXCHANGE) == 0;
}

/// @param wanted  a file that is open, so that both are asked now: some file systems give inodes other numbers in time.
Exchange::Displaced Exchange::lookAtDisplaced(int wanted) const noexcept {
    struct stat found {};
    struct stat open {};
    if (::fstatat(directory_, temporary_.c_str(), &found, AT_SYMLINK_NOFOLLOW) == -1 || ::fstat(wanted, &open) == -1) {
        return Displaced::Unknown;
    }
    return FileIdentity(found).isSameFileAs(FileIdentity(open)) ? Displaced::Wanted : Displaced::Other;
}

/// The same file that was opened, and nothing written to it since.
Exchange::Displaced Exchange::lookForExpected() const noexcept {
    const Displaced displaced = lookAtDisplaced(expected_.descriptor());
    struct stat now {};
    if (displaced == Displaced::Wanted && ::fstat(expected_.descriptor(), &now) == 0) {
        return expected_.identity().hasContentOf(FileIdentity(now)) ? Displaced::Wanted : Displaced::Other;
    }
    return displaced == Displaced::Wanted ? Displaced::Unknown : displaced;
}

/// Gives what was displaced its name back. When the temporary does not come out in return, another program has replaced
/// the target once more, and gets its name back in turn.
ExchangeResult Exchange::revert(Displaced displaced) const noexcept {
    const int reason = errno;
    if (!swap()) {
        return displaced == Displaced::Unknown ? ExchangeResult::Unverified : ExchangeResult::Entangled;
    }
    switch (lookAtDisplaced(fresh_)) {
    case Displaced::Wanted:
        errno = reason;
        return displaced == Displaced::Unknown ? ExchangeResult::Failed : ExchangeResult::Reverted;
    case Displaced::Other:
        swap();
        break;
    case Displaced::Unknown:
        break;
    }
    return ExchangeResult::Entangled;
}

}  // namespace foundation::storage::vfs
