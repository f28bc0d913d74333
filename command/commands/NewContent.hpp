#pragma once

#include "commands/PropertyOptions.hpp"
#include "io/Input.hpp"

#include <optional>
#include <string>

namespace flowbook::tool {

/// What a flowbook is to hold. What is not set here stays as it is.
struct NewContent {
    std::optional<std::u16string> code;
    std::optional<Bytes> rich;      ///< a rich code document; not together with `code`
    bool flatten = false;           ///< whether `code` may replace a document that holds more than code
    bool replaceEncrypted = false;  ///< whether `code` or `rich` may replace encrypted code
    PropertyOptions properties;

    bool empty() const { return !code && !rich && properties.empty(); }
};

/// Gives the flowbook this content and saves it, unless it has it already or `dryRun` is set. Plain code for rich code
/// goes into its code paragraphs where it is clear which line belongs to which; all else of the document then stays.
/// @param input  for Purpose::Update. @returns whether the flowbook had other content.
/// @throws Failure (a negative finding) when the code would replace more than code, (encrypted) when it would replace
///         encrypted code; what the library throws.
bool apply(const NewContent& content, const Input& input, bool dryRun = false);

}  // namespace flowbook::tool
