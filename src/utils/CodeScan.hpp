#pragma once

#include <optional>
#include <string>

namespace flowbook::detail {

/// The plain code of a rich code document in its usual form, found in one pass and without a tree of the document. None
/// for whatever is out of the ordinary, malformed documents among it: that is left to the DOM, whose verdict holds. The
/// two parsers must never disagree on a document that this accepts, so it turns down what parsers are known to differ
/// on: document types, processing instructions, other versions and encodings, unusual names, deep nesting.
/// @throws std::bad_alloc only. Safe to call from several threads at once.
std::optional<std::u16string> scanForCode(const std::u16string& richCode);

}  // namespace flowbook::detail
