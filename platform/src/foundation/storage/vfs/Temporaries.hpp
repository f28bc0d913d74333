#pragma once

#include <string>
#include <sys/types.h>

namespace foundation::storage::vfs {

/// A name for a temporary that nothing else has. It is short, so that it also fits where the target's name just does.
std::string newTemporaryName();

/// The name that a temporary takes before it changes places with its target. It tells the two files that it may stand
/// for then and that nobody misses: should the process be killed just when it has displaced another program's version,
/// that one has the name, and no sweep takes it.
std::string exchangeName(const std::string& temporary, ino_t fresh, ino_t replaced);

/// Removes the temporaries that killed processes left in a folder: those that nobody has written to for an hour, and
/// that nobody has locked. Failing to is no error.
void sweepStaleTemporaries(int directory) noexcept;

}  // namespace foundation::storage::vfs
