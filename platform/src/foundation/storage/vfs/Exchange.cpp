// The exchange of two names and the look at its outcome. Every comparison is between open files, never between names
// alone: a name can come to stand for another file between two calls, an open file stays the one that it is.
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

/// @param wanted  an open file. Both files are asked for their identity now, rather than compared with one noted
/// before: some file systems in user space give a file another inode number in the course of time.
Exchange::Displaced Exchange::lookAtDisplaced(int wanted) const noexcept {
    struct stat found {};
    struct stat open {};
    if (::fstatat(directory_, temporary_.c_str(), &found, AT_SYMLINK_NOFOLLOW) == -1 || ::fstat(wanted, &open) == -1) {
        return Displaced::Unknown;
    }
    return FileIdentity(found).isSameFileAs(FileIdentity(open)) ? Displaced::Wanted : Displaced::Other;
}

/// Whether what was displaced is the file that was opened, and nothing was written to it since.
Exchange::Displaced Exchange::lookForExpected() const noexcept {
    const Displaced displaced = lookAtDisplaced(expected_.descriptor());
    struct stat now {};
    if (displaced == Displaced::Wanted && ::fstat(expected_.descriptor(), &now) == 0) {
        return expected_.identity().hasContentOf(FileIdentity(now)) ? Displaced::Wanted : Displaced::Other;
    }
    return displaced == Displaced::Wanted ? Displaced::Unknown : displaced;
}

/// Gives what was displaced its name back. If the temporary does not come out in return, another program has replaced
/// the target once more in the meantime, and gets its name back in turn. More than that is not tried: three programs
/// that replace one file within two system calls end as Entangled, with every version kept under some name.
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
