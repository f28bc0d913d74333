#pragma once

#include "kit/document/Document.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// What can be left out of a flowbook because running its code makes it again, or because nothing shows it: outputs,
/// with what only they lead to, and pictures that nothing refers to. A picture is referred to when any relationship
/// leads to it; a relationship of rich code counts only when the document mentions its id. In plain code, which has no
/// place to mention one, each relationship counts.
struct Strippable {
    std::vector<std::string> parts;  ///< names, in their order
    /// Relationships that lead to those parts, or to outputs that are gone: the part name of the source, "/" for the
    /// package, and the id.
    std::vector<std::pair<std::string, std::u16string>> relationships;

    bool empty() const { return parts.empty() && relationships.empty(); }
};

/// @throws opc::Exception when relationships or the code cannot be read.
Strippable findStrippable(const Document& document);

/// Removes what was found; all else stays as it is.
/// @param package  the same flowbook, open for writing. @throws opc::Exception.
void strip(opc::model::Package& package, const Strippable& what);

/// The flowbook without what can be stripped; nothing when there is nothing.
/// @param name  for messages. @throws opc::Exception as findStrippable() and strip().
std::optional<fl::Bytes> stripped(const fl::Bytes& flowbook, const std::u16string& name = u"flowbook");

}  // namespace flowbook::kit
