#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Faults.hpp"
#include "kit/page/Page.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// One of the two versions that a page of changes compares.
struct ChangesSide {
    std::string name;                    ///< bytes of any kind
    const Document* document = nullptr;  ///< null when there is no such version, or it cannot be read
    std::string fault;                   ///< why it cannot be read; empty otherwise
    const PageDamage* damage = nullptr;  ///< when the document is what could be saved of a damaged file; else null
};

/// How many lines of text and code a page of changes shows as removed and added.
struct ChangesCount {
    std::size_t removed = 0;
    std::size_t added = 0;
    std::size_t otherMarkup = 0;  ///< lines that are the same but for markup that no page shows
};

struct ChangesPage {
    std::string html;
    ChangesCount count;
    bool isDamaged = false;  ///< whether something of a version cannot be read; the page says so
};

/// A page of what changed from one version of a flowbook to another: properties, text and code by line with the changed
/// words marked, outputs, pictures side by side, and other parts. It runs nothing and loads nothing, as makePage().
/// @param index  the address of the index of changes; empty for none. @throws std::bad_alloc.
ChangesPage makeChangesPage(const std::string& title, const ChangesSide& before, const ChangesSide& after,
                            const std::string& index);

/// A flowbook in an index of changes.
struct ChangesRow {
    std::string page;
    std::string file;
    std::string kind;  ///< such as "changed"
    ChangesCount count;
    bool isDamaged = false;
};

/// A table of pages of changes.
std::string makeChangesIndex(const std::string& title, const std::vector<ChangesRow>& rows);

}  // namespace flowbook::kit
