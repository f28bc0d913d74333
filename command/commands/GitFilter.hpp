#pragma once

#include "terminal/Console.hpp"

#include <string>

namespace flowbook::tool {

/// What git's filter makes of a file on its way into the repository, or out of it.
enum class FilterWay { Clean, Smudge };

/// Speaks git's protocol for filters that stay (gitattributes(5), "Long Running Filter Process", version 2) on standard
/// input and output until git hangs up. @param strips  whether clean leaves outputs out.
/// @throws Failure for anything that is not this protocol.
void serveGitFilter(Console& console, bool strips);

/// Filters standard input to standard output, once.
void filterOnce(Console& console, FilterWay way, bool strips);

}  // namespace flowbook::tool
