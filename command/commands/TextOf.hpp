#pragma once

#include <string>

namespace flowbook::tool {

/// The text form of a file. Messages in it call the file "flowbook", so that two damaged files with the same damage
/// give the same text. @param outputs  whether outputs are printed. @throws Failure when the file cannot be read.
std::string textOf(const std::string& argument, bool outputs);

}  // namespace flowbook::tool
