#pragma once

#include "kit/document/Document.hpp"
#include "terminal/Json.hpp"

namespace flowbook::tool {

// What records of several commands have in common, as docs/json.md describes it.

/// The text of a part's content type.
std::string typeOf(const opc::model::Part& part);

/// Writes "properties", an object; a property that is absent is null.
void writeProperties(Json& json, const std::vector<kit::Property>& properties);

/// Writes "parts", a list.
void writeParts(Json& json, const std::vector<opc::model::Part>& parts);

}  // namespace flowbook::tool
