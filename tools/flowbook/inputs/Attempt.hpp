#pragma once

#include "inputs/Input.hpp"
#include "terminal/Console.hpp"

#include <functional>
#include <string>
#include <vector>

namespace flowbook::tool {

/// Does `action`; when it throws, reports why as a failure of `file`.
/// @param input  for diagnose().
void attempt(Console& console, const std::string& file, const Input* input, const std::function<void()>& action);

/// Does `action` on the file that an argument names.
void attemptFile(Console& console, const std::string& argument, const std::function<void(const Input&)>& action);

/// As above for each of the files, bad ones notwithstanding, until standard output fails.
void attemptFiles(Console& console, const std::vector<std::string>& arguments,
                  const std::function<void(const Input&)>& action);

}  // namespace flowbook::tool
