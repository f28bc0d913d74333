#pragma once

#include <string>
#include <string_view>

namespace foundation::storage::vfs {

/// A name for a temporary that nothing else has. It is short, so that it also fits where the target's name just does.
std::string newTemporaryName();

bool isTemporaryName(std::string_view name);

/// Removes the temporaries that killed processes left in a folder: those that nobody has written to for an hour.
/// Failing to is no error.
void sweepStaleTemporaries(int directory) noexcept;

}  // namespace foundation::storage::vfs
