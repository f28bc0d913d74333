#pragma once

#include "flowbook/FlowbookFileReader.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"
#include "terminal/Bytes.hpp"

#include <string>

namespace flowbook::tool {

/// The bytes of a file, or of standard input for "-".
/// @throws Failure, also when there are more than `limit`.
Bytes readBytes(const std::string& argument, std::uint64_t limit);

/// A flowbook named on the command line; "-" is standard input, which is held in memory.
class Input {
public:
    /// @throws Failure when the name is not UTF-8, or standard input cannot be read.
    explicit Input(const std::string& argument);

    /// As the user wrote it.
    const std::string& argument() const noexcept { return argument_; }
    const std::u16string& name() const noexcept { return name_; }
    const foundation::storage::vfs::StorageSystemReference& storage() const noexcept { return storage_; }

    /// @throws what the reader throws.
    FlowbookFileReader openReader() const { return {name_, storage_}; }

private:
    std::string argument_;
    std::u16string name_;
    foundation::storage::vfs::StorageSystemReference storage_;
};

/// The plain code as UTF-8, a lone surrogate as U+FFFD, ending in a line feed unless it is empty.
/// @throws what the reader throws.
std::string readCodeText(const FlowbookFileReader& reader);

}  // namespace flowbook::tool
