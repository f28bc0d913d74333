#pragma once

#include "io/Input.hpp"
#include "kit/document/Document.hpp"

#include <functional>
#include <string>

namespace flowbook::tool {

/// @throws Failure (encrypted) when the code is encrypted, (damaged) when there is none.
void requireReadableCode(const kit::Document& document);

/// The plain code. Code in another encoding than UTF-8, which the reader refuses, is read as it declares.
/// @throws what the reader throws.
std::u16string readCode(const Input& input);

/// The document with the code as UTF-8, likewise.
std::string readCodeDocument(const Input& input);

/// The plain code as UTF-8, a lone surrogate as U+FFFD, ending in a line feed unless it is empty; likewise.
std::string readCodeText(const Input& input);

/// The same in pieces of whole characters, so that a large code is not in memory as UTF-8 too.
void readCodeText(const Input& input, const std::function<void(const std::string&)>& write);

}  // namespace flowbook::tool
