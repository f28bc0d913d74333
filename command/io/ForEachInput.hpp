#pragma once

#include "io/InputOptions.hpp"
#include "io/Report.hpp"

#include <functional>

namespace flowbook::tool {

/// What is done with each input; called by several threads at once.
using Work = std::function<void(const Input&, Report&)>;

/// Does `work` on each of the inputs, on several at once, bad ones notwithstanding, until standard output
/// fails. Anything that `work` throws is reported as a failure of that input; with --json, an input for which
/// `work` began no record gets one with its failure.
void forEachInput(Console& console, const InputOptions& options, const Work& work,
                  Input::Purpose purpose = Input::Purpose::Read);

/// As above, for names that `options` has returned before.
void forEachInput(Console& console, const InputOptions& options, std::vector<InputName> names, const Work& work,
                  Input::Purpose purpose = Input::Purpose::Read);

/// As above for one file.
void forInput(Console& console, const std::string& argument, const Work& work,
              Input::Purpose purpose = Input::Purpose::Read);

/// Does what is about no input in particular.
/// @param file  what it is about; may be empty.
void attempt(Console& console, const std::string& file, const std::function<void()>& work);

}  // namespace flowbook::tool
