#pragma once

#include "writer/XercesOwnership.hpp"

#include <string>

namespace flowbook::detail {

/// A rich code document of one code paragraph that holds the whole text, line breaks included, in one
/// CDATA section, or no text node at all when the text is empty. An XercesGuard must live around it.
DocumentPtr createRichCodeDocument(const std::u16string& text);

}  // namespace flowbook::detail
