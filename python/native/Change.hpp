#pragma once

#include "Source.hpp"

#include <optional>
#include <utility>
#include <vector>

namespace flowbook::python {

/// What is to be different about a flowbook. Texts are UTF-8. At most one of `code`, `rich` and `encrypted`.
struct Change {
    std::optional<std::string> code{};
    std::optional<std::string> rich{};
    std::optional<std::string> encrypted{};
    std::optional<std::string> title{};
    std::optional<std::string> description{};
    std::optional<std::string> version{};
    std::vector<std::pair<std::string, fl::Bytes>> pictures{};  ///< media type and content

    bool isEmpty() const;

    /// @throws opc::Exception for a property that XML cannot hold, rich code that is none, or a picture's type.
    void check() const;
};

/// Writes the source with the change made, into what the sink begins; everything else keeps its bytes.
void save(const Source& source, const Change& change, const HeldStorage::Sink& sink);

/// As above, as bytes.
fl::Bytes saveAsBytes(const Source& source, const Change& change);

/// As above, back into the file that the source came from, if that is still the one that was opened.
void saveBack(const Source& source, const Change& change);

/// As above, into another file, which is created or replaced.
void saveAt(const Source& source, const Change& change, const std::u16string& path);

/// An empty flowbook.
fl::Bytes newFlowbook();

}  // namespace flowbook::python
