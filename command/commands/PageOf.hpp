#pragma once

#include "io/Input.hpp"
#include "io/Report.hpp"
#include "kit/page/Page.hpp"

namespace flowbook::tool {

/// @throws opc::Exception when the code cannot be read as it is stored; encrypted code is not looked at.
void requireCode(const kit::Document& document);

/// The page of an input. What is wrong with it is said on the page and in the report.
/// @throws Failure when the input cannot be read at all for a reason that is not its own, such as permissions.
kit::Page pageOf(const Input& input, Report& report, kit::PageOptions options);

/// As above, under the name that the user gave.
kit::Page pageOf(const Input& input, Report& report);

/// The page of an input; what is wrong with it is said on the page alone. @throws as pageOf().
kit::Page quietPageOf(const Input& input, kit::PageOptions options);

/// Opens a page in the browser. It stays in the folder of temporary files, as the browser may take it later.
/// @throws Failure.
void showInBrowser(std::string_view html);

}  // namespace flowbook::tool
