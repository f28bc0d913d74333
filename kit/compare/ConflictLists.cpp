#include "kit/compare/ConflictLists.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Document.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <boost/json.hpp>

namespace flowbook::kit {

using opc::model::Package;
using opc::model::Part;
using opc::model::PartName;
using opc::model::RelationshipSource;

boost::json::object readList(const Package& package, const char* list) {
    if (!package.hasPart(partNamed(list))) {
        return {};
    }
    const fl::Bytes content = contentOf(package.getPart(partNamed(list)));
    boost::system::error_code error;
    boost::json::value value = boost::json::parse(std::string(content.begin(), content.end()), error);
    if (error || !value.is_object()) {
        throw opc::Exception(opc::ErrorKind::Damaged, std::string("part ") + list + ": it is no JSON object");
    }
    return std::move(value.as_object());
}

std::optional<std::string> textAt(const boost::json::value& sides, const char* side) {
    const boost::json::object* const object = sides.if_object();
    const boost::json::value* const value = object == nullptr ? nullptr : object->if_contains(side);
    const boost::json::string* const text = value == nullptr ? nullptr : value->if_string();
    return text == nullptr ? std::nullopt : std::make_optional(std::string(*text));
}

Side sideAt(const boost::json::value& value, const char* name) {
    return textAt(value, name) == "theirs" ? Side::Theirs : Side::Ours;
}

std::optional<Part> codePartIn(const Package& package) {
    const auto all = package.getRelationshipsByType(documentRelationshipType());
    return all.empty() ? std::nullopt : partAt(package, all.front());
}

std::pair<std::string, std::string> splitLink(const std::string& link) {
    const std::size_t hash = std::min(link.rfind('#'), link.size() - 1);
    return {link.substr(0, hash), link.substr(hash + 1)};
}

std::optional<opc::model::Relationship> relationshipOf(const RelationshipSource& source, const std::string& id) {
    for (const auto& each : source.getRelationships(opc::model::ExcludeMode::None)) {
        if (fl::i18n::to_string(each.getID()) == id) {
            return each;
        }
    }
    return std::nullopt;
}

std::optional<opc::model::Relationship> relationshipAt(const Package& package, const std::string& link) {
    const auto [source, id] = splitLink(link);
    if (source == "/") {
        return relationshipOf(package, id);
    }
    return PartName::isValid(source) && package.hasPart(partNamed(source))
               ? relationshipOf(package.getPart(partNamed(source)), id)
               : std::nullopt;
}

}  // namespace flowbook::kit
