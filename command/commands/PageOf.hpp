#pragma once

#include "io/Input.hpp"
#include "io/Report.hpp"
#include "kit/page/Page.hpp"

namespace flowbook::tool {

/// The page of an input. What is wrong with it is told by the page and by the report.
kit::Page pageOf(const Input& input, Report& report);

}  // namespace flowbook::tool
