#pragma once

#include "kit/document/Document.hpp"

#include <string>
#include <vector>

namespace flowbook::kit {

/// A core property that the library has no question for, such as the creator.
struct FurtherProperty {
    std::string name;   ///< of its element
    std::string label;  ///< for people
    std::string value;
};

/// All that are set, in the order of the document that holds them (ECMA-376-2, core properties).
/// @throws opc::Exception when the document cannot be read.
std::vector<FurtherProperty> furtherPropertiesOf(const Document& document);

}  // namespace flowbook::kit
