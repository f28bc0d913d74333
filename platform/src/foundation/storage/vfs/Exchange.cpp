#include "foundation/storage/vfs/Exchange.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>

namespace foundation::storage::vfs {

ExchangeResult Exchange::run() const noexcept {
    if (!swap()) {
        return ExchangeResult::Failed;
    }
    const auto isExpected = [this](const struct stat& found) { return expected_.hasContentOf(FileIdentity(found)); };
    const Displaced displaced = lookAtDisplaced(isExpected);
    return displaced == Displaced::Wanted ? ExchangeResult::Done : revert(displaced);
}

bool Exchange::swap() const noexcept {
    return ::renameat2(directory_, temporary_.c_str(), directory_, target_.c_str(), RENAME_EXCHANGE) == 0;
}

template <class IsWanted>
Exchange::Displaced Exchange::lookAtDisplaced(IsWanted isWanted) const noexcept {
    struct stat found {};
    if (::fstatat(directory_, temporary_.c_str(), &found, AT_SYMLINK_NOFOLLOW) == -1) {
        return Displaced::Unknown;
    }
    return isWanted(found) ? Displaced::Wanted : Displaced::Other;
}

/// Gives what was displaced its name back. When the temporary does not come out in return, another program has replaced
/// the target once more, and gets its name back in turn.
ExchangeResult Exchange::revert(Displaced displaced) const noexcept {
    const int reason = errno;
    if (!swap()) {
        return displaced == Displaced::Unknown ? ExchangeResult::Unverified : ExchangeResult::Entangled;
    }
    switch (lookAtDisplaced([this](const struct stat& found) { return found.st_ino == fresh_; })) {
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
