#pragma once

#include <cstdint>
#include <string>

namespace foundation::storage::vfs {

/// A name for a temporary that nothing else has. It is short, so that it also fits where the target's name just does,
/// and such that clients that synchronise folders pass the file over: most of them those that begin with ".~", others
/// those that end with ".tmp".
std::string newTemporaryName();

/// Tells the content of an open file from others: by all of it, or for a large one by its size, its beginning, its end
/// (where a container has its index) and samples between. 0 when it cannot be read.
std::uint64_t fingerprintOf(int descriptor) noexcept;

/// The name that a temporary takes before it changes places with its target. It tells the two contents that it may
/// stand for then and that nobody misses: should the process be killed just when it has displaced another program's
/// version, or another program write to what was displaced, that has the name, and no sweep takes it.
std::string exchangeName(const std::string& temporary, std::uint64_t fresh, std::uint64_t replaced);

/// Removes the temporaries that killed processes left in a folder: those that nobody has written to for an hour, and
/// that nobody has locked. It lists the folder at the first call of the process for it, and then once an hour at most.
/// Failing to is no error. @param directory  an open one.
void sweepStaleTemporaries(int directory) noexcept;

}  // namespace foundation::storage::vfs
