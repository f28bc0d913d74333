#pragma once

#include "kit/document/Document.hpp"
#include "kit/page/Faults.hpp"
#include "kit/page/Figures.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// The addresses of other pages in the same folder; empty where there is none.
struct PageLinks {
    std::string index;
    std::string previous;
    std::string next;
};

/// What is known of a damaged file when a page shows what could be saved of it.
struct PageDamage {
    std::string reason;               ///< why the file itself cannot be shown
    std::vector<std::string> losses;  ///< what is not as it was, in words
    fl::Bytes code;                   ///< what is left of the stored code, if that is lost; else empty
};

/// How a page calls the flowbook.
struct PageOptions {
    std::string file;         ///< bytes of any kind
    Faults::Words inWords{};  ///< puts messages of the library as the reader is to see them; may be empty
    PageLinks links{};
    std::string source{};  ///< where the flowbook is, from the folder of the page; bytes of any kind
    std::optional<PageDamage> damage{};
};

/// What an index of pages says of a flowbook.
struct PageSummary {
    std::string file;
    std::string title;  ///< empty when there is none, as are the next three
    std::string description;
    std::string version;
    std::string modified;                  ///< ISO 8601 in UTC
    Thumbnail picture;                     ///< the first
    std::optional<std::size_t> lineCount;  ///< of the code; nothing when they cannot be counted
    std::string state;                     ///< "damaged", or the form of the code
};

struct Page {
    std::string html;
    PageSummary summary;
    std::vector<PageFault> faults;  ///< the page shows them too
};

/// The page of a flowbook: one file that runs nothing and loads nothing, whatever the flowbook holds. What cannot be
/// read is named in its place. @throws std::bad_alloc.
Page makePage(const Document& document, const PageOptions& options);

/// The page of a damaged file, with what salvage() saves of it, and a notice that says so.
/// @param name  for messages. @param reason  why the file itself cannot be shown. @returns nothing when nothing can be
/// saved.
/// @throws opc::Exception, std::bad_alloc.
std::optional<Page> makeSalvagedPage(const fl::Bytes& remains, const std::u16string& name, const std::string& reason,
                                     PageOptions options);

/// What could be saved of a damaged file.
struct SavedVersion {
    Document document;
    PageDamage damage;
};

/// Saves what can be saved of a file, as makeSalvagedPage() shows it. @throws as that.
std::optional<SavedVersion> saveVersion(const fl::Bytes& remains, const std::u16string& name,
                                        const std::string& reason);

/// Writes that a page shows what could be saved, and what is not as it was.
void writeLosses(Markup& out, const PageDamage& damage);

/// The page of a file of which nothing can be read.
Page makeFailurePage(const PageOptions& options, const PageFault& reason);

/// Whether a text has nothing to see: blanks and hidden characters alone.
bool isBlankTitle(std::string_view title);

}  // namespace flowbook::kit
