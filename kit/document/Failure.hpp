#pragma once

#include "flowbook/FlowbookExceptions.hpp"
#include "foundation/storage/vfs/StorageError.hpp"
#include "opc/Exception.hpp"

#include <string>

namespace flowbook::kit {

/// What a caller would do next about a failure, in one word: "not-found" (of the file), "input-output", "damaged",
/// "limit", "conflict", "not-durable" or "misuse". What the library does not attach to its own is "damaged".
std::string kindOf(const FlowbookExceptionBase& failure);
std::string kindOf(const opc::Exception& failure);
std::string kindOf(const foundation::storage::vfs::StorageError& failure);

/// A message of the library less the words for programmers that it begins with.
std::string inWords(const std::string& message);

}  // namespace flowbook::kit
