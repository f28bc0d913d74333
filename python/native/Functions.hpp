#pragma once

#include "fl/Bytes.hpp"
#include "kit/package/Salvage.hpp"

#include <string>

namespace flowbook::python {

// What needs no opened flowbook. All require the interpreter lock and release it during work.

/// An empty flowbook.
fl::Bytes newFlowbook();

/// What can be had of a damaged file.
kit::Salvaged repair(const std::string& remains);

}  // namespace flowbook::python
