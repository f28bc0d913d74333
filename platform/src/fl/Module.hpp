#pragma once

#include <string>

namespace fl {

/// A function of a module, which is a library of this project that is loaded when it is first needed, from beside this
/// one. It stays loaded, and keeps this library loaded.
/// @param name  of the module's file. @param function  the name of one with C linkage.
/// @throws std::bad_alloc, std::runtime_error whose text goes on from "cannot load it ".
void* functionOfModule(const std::string& name, const char* function);

}  // namespace fl
