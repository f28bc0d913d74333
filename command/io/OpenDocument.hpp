#pragma once

#include "io/Input.hpp"
#include "kit/document/ReadAhead.hpp"

namespace flowbook::tool {

/// @throws what kit::Document throws.
inline kit::Document openDocument(const Input& input) { return {input.name(), input.storage()}; }

/// Reads parts of a document on as many threads as may work on the input. The input must live as long.
inline kit::ReadAhead readAhead(const kit::Document& document, const Input& input,
                                const std::vector<opc::model::Part>& parts) {
    return {document, [&input] { return openDocument(input); }, parts, input.threads()};
}

}  // namespace flowbook::tool
