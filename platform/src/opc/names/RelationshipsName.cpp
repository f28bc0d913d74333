// The names of relationships parts: "/folder/_rels/name.rels" for the part "/folder/name", and "/_rels/.rels" for the
// package.
#include "opc/names/RelationshipsName.hpp"

#include <algorithm>

namespace opc::model::detail {
namespace {

constexpr std::string_view kFolder = "/_rels";
constexpr std::string_view kExtension = ".rels";

/// Returns the last segment with its slash, or all of a name without any.
std::string_view lastSegment(std::string_view name) { return name.substr(std::min(name.rfind('/'), name.size())); }

}  // namespace

std::string relationshipsNameOf(std::string_view sourceName) {
    const std::string_view last = lastSegment(sourceName);
    const std::string_view folder = sourceName.substr(0, sourceName.size() - last.size());
    std::string name;
    name.reserve(sourceName.size() + kFolder.size() + kExtension.size());
    return name.append(folder).append(kFolder).append(last).append(kExtension);
}

bool isRelationshipsName(std::string_view folded) {
    const std::string_view last = lastSegment(folded);
    return lastSegment(folded.substr(0, folded.size() - last.size())) == kFolder && last.size() > kExtension.size() &&
           last.substr(last.size() - kExtension.size()) == kExtension;
}

bool isKeptForRelationships(std::string_view folded) {
    return isRelationshipsName(folded) || lastSegment(folded) == kFolder;
}

}  // namespace opc::model::detail
