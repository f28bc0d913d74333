#pragma once

#include <string>
#include <vector>

namespace flowbook::detail {

using Bytes = std::vector<unsigned char>;

/// The rich code document of one code paragraph that holds the whole text, line breaks included, in CDATA sections, or
/// no text at all when it is empty. Written as text, without the XML library; a text that is no Unicode text is left to
/// richCodeByDom(), whose verdict holds.
/// @param text  without characters that XML forbids.
Bytes richCode(const std::u16string& text);

/// The same bytes, by a tree of the document.
/// @throws opc::Exception for a lone surrogate.
Bytes richCodeByDom(const std::u16string& text);

}  // namespace flowbook::detail
