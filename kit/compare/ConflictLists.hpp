#pragma once

#include "kit/compare/Conflicts.hpp"
#include "opc/model/Package.hpp"

#include <boost/json/object.hpp>
#include <optional>
#include <string>
#include <utility>

namespace flowbook::kit {

/// A list that a merge left; an empty one of a package without it. @throws opc::Exception when it is no JSON object.
boost::json::object readList(const opc::model::Package& package, const char* list);

/// A member of an item that is a text; nothing where it is not there, or something else.
std::optional<std::string> textAt(const boost::json::value& item, const char* name);

/// The side that a member of an item names.
Side sideAt(const boost::json::value& item, const char* name);

/// The code of a package that is being settled. Unlike Document::codePart() it reports a relationship that leads to no
/// part as no code, since a side of a merge may have deleted that part.
std::optional<opc::model::Part> codePartIn(const opc::model::Package& package);

/// The source and the id of a relationship that a list names as "SOURCE#ID".
std::pair<std::string, std::string> splitLink(const std::string& link);

std::optional<opc::model::Relationship> relationshipOf(const opc::model::RelationshipSource& source,
                                                       const std::string& id);

/// The relationship that a list names; nothing when it is not there any more.
std::optional<opc::model::Relationship> relationshipAt(const opc::model::Package& package, const std::string& link);

}  // namespace flowbook::kit
