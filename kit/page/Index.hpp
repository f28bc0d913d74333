#pragma once

#include "kit/page/Page.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// What a page is called in a folder: letters of the file's name, and digits of a digest over `path`. Never "index",
/// never more than one component, and the same for the same path. File systems that fold names do not matter.
std::string pageNameOf(std::string_view path);

struct IndexRow {
    std::string page;  ///< as pageNameOf() has it
    PageSummary summary;
};

/// A table of pages, by folder, title and file. The script of the index sorts and filters it.
std::string makeIndex(std::vector<IndexRow> rows);

}  // namespace flowbook::kit
