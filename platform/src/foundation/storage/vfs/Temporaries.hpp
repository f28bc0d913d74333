#pragma once

#include <cstdint>
#include <string>

namespace foundation::storage::vfs {

/// Returns a new name for a temporary. It is short, so that it fits wherever the target's name fits. It begins with
/// ".~" and ends with ".tmp", because clients that synchronise folders pass over files with the one or the other.
std::string newTemporaryName();

/// Returns a number that identifies the content of an open file: a hash of all of it, or for a large file of its size,
/// its beginning, its end (where a container has its index) and samples between. 0 when the file cannot be read.
std::uint64_t fingerprintOf(int descriptor) noexcept;

/// Returns the name that a temporary takes before it changes places with its target. The name records the two contents
/// that may lie under it and that a sweep may remove: the new version, should the process be killed before the
/// exchange, and the old one, should it be killed after. If another program's version was displaced instead, or if a
/// program has written to what was displaced, the content is neither of the two, and no sweep removes it.
std::string exchangeName(const std::string& temporary, std::uint64_t fresh, std::uint64_t replaced);

/// Removes the temporaries that killed processes left in a folder: those that no process has locked or has written to
/// for an hour. It lists the folder at the first call of the process for it, and then once an hour at most, as listing
/// a large folder takes longer than saving a small file. A failure is not reported: the file that was saved is in place
/// already.
/// @param directory  an open folder.
void sweepStaleTemporaries(int directory) noexcept;

}  // namespace foundation::storage::vfs
