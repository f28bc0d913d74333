#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Faults.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace flowbook::kit {

/// How a page calls the flowbook.
struct PageOptions {
    std::string file;       ///< bytes of any kind
    Faults::Words inWords;  ///< puts messages of the library as the reader is to see them; may be empty
};

/// What an index of pages tells of a flowbook.
struct PageSummary {
    std::string file;
    std::string title;  ///< empty when there is none, as are the next three
    std::string description;
    std::string version;
    std::string modified;  ///< ISO 8601 in UTC
    std::string picture;   ///< the first, as a data URI; empty when there is none, or it is large
    std::size_t lineCount = 0;
    std::string state;  ///< "damaged", or the form of the code
};

struct Page {
    std::string html;
    PageSummary summary;
    std::vector<std::string> faults;  ///< in words; the page tells them too
};

/// The page of a flowbook: one file that runs nothing and loads nothing, whatever the flowbook holds. What cannot be
/// read is told in its place. @throws std::bad_alloc.
Page makePage(const Document& document, const PageOptions& options);

/// The page of a file of which nothing can be read.
Page makeFailurePage(const std::string& file, const std::string& reason);

}  // namespace flowbook::kit
