#pragma once

#include "kit/page/Markup.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace flowbook::kit {

/// What a page says of itself besides its body.
struct Frame {
    std::string title;
    std::string language = "en";  ///< of what the page shows (BCP 47)
    std::string source{};         ///< where the page's flowbook is, from the folder of the page; any bytes
    bool isIndex = false;         ///< whether the script of the index belongs to it
    bool isOfChanges = false;     ///< whether it is one of a folder of pages that show what changed
};

/// A whole page: the skeleton with a body. It loads nothing, and runs nothing but the script of an index: its content
/// security policy (CSP level 3) allows no more than pictures that it holds, its own style and that script, by their
/// digests.
std::string framed(const Frame& frame, const Markup& body);

/// What the beginning of a file says, if it is a page of this command, whichever version made it.
struct PageMark {
    bool isUnchanged = false;  ///< whether it is as it was made
    bool isIndex = false;
    bool isOfChanges = false;
    std::string source;  ///< see Frame
};

/// @returns nothing for a file that is no page of this command.
/// @param content  the whole file; or its beginning, where isUnchanged does not matter.
std::optional<PageMark> markOf(std::string_view content);

/// A path as an address has it (RFC 3986), relative to the folder of a page.
std::string addressOf(std::string_view path);

}  // namespace flowbook::kit
