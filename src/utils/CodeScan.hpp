#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace flowbook::detail {

/// The plain code of a rich code document in its usual form, found in one pass over its bytes. None for whatever is out
/// of the ordinary, malformed documents among it: that is left to the DOM, whose verdict holds.
/// @param document  UTF-8; a byte order mark is skipped.
/// @throws std::bad_alloc only. Safe to call from several threads at once.
std::optional<std::u16string> scanForCode(std::string_view document);

}  // namespace flowbook::detail
