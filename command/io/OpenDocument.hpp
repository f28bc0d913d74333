#pragma once

#include "io/Input.hpp"
#include "kit/document/Document.hpp"

namespace flowbook::tool {

/// @throws what kit::Document throws.
inline kit::Document openDocument(const Input& input) { return {input.name(), input.storage()}; }

}  // namespace flowbook::tool
