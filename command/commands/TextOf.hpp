#pragma once

#include "terminal/ExitCode.hpp"

#include <string>

namespace flowbook::tool {

/// The text form of a file. Messages in it call the file "flowbook", so that two damaged files with the same damage
/// give the same text. @param outputs  whether outputs are printed. @throws Failure when the file cannot be read.
/// @param code  when given, becomes LimitExceeded where the flowbook cannot be read because of a limit, and stays else.
std::string textOf(const std::string& argument, bool outputs, ExitCode* code = nullptr);

}  // namespace flowbook::tool
