#pragma once

#include "opc/InputStream.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace flowbook::detail {

/// The plain code of a rich code document in its usual form, found in one pass over its bytes. Returns none for
/// any other document, also for a malformed one: the DOM decides on those.
/// @param document  UTF-8; a byte order mark is skipped.
/// @throws std::bad_alloc only. Safe to call from several threads at once.
std::optional<std::u16string> scanForCode(std::string_view document);

/// The plain code of any rich code document, by a tree of it. The text and the stream are those that
/// FlowbookFileUtils::getTARMICCodeFromRichTARMICCode takes.
/// @throws opc::model::InvalidXMLDocument, and what the stream throws.
std::u16string codeByDom(const std::u16string& richCode);
std::u16string codeByDom(opc::InputStream& richCode);

}  // namespace flowbook::detail
