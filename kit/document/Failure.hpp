#pragma once

#include "flowbook/FlowbookExceptions.hpp"

#include <string>

namespace flowbook::kit {

/// Returns the message of a failure, without the words for programmers that those of the library begin with.
std::string wordsOf(const std::exception& failure);

}  // namespace flowbook::kit
