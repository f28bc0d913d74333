#pragma once

#include "flowbook/FlowbookFileReader.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"
#include "terminal/Bytes.hpp"

#include <string>

namespace flowbook::tool {

/// The bytes of a file, or of standard input for "-".
/// @throws Failure, also when there are more than `limit`, and when standard input is asked for again.
Bytes readBytes(const std::string& argument, std::uint64_t limit);

/// A flowbook that was named to the command: a file of any name, which need not be UTF-8 nor have an
/// extension; or "-", standard input, which like a pipe is held in memory.
class Input {
public:
    enum class Purpose {
        Read,
        Update,         ///< all that is opened is the same version of the file
        UpdateOrFilter  ///< as before, but "-" may be changed in memory
    };

    /// @throws Failure when there is nothing that can be read.
    explicit Input(const std::string& argument, Purpose purpose = Purpose::Read);

    /// As the user wrote it.
    const std::string& argument() const noexcept { return argument_; }

    /// What the file is called in storage().
    const std::u16string& name() const noexcept { return name_; }
    const foundation::storage::vfs::StorageSystemReference& storage() const noexcept { return storage_; }

    /// @throws what the reader throws.
    FlowbookFileReader openReader() const { return {name_, storage_}; }

    /// What that which is made of it is called in a folder for several.
    const std::string& nameInFolder() const noexcept { return nameInFolder_; }
    void setNameInFolder(std::string name) { nameInFolder_ = std::move(name); }

    /// How many threads may work on it, as there are fewer inputs than threads; at least one.
    unsigned threads() const noexcept { return threads_; }
    void setThreads(unsigned threads) { threads_ = threads; }

    bool isStandardInput() const noexcept { return argument_ == "-"; }

    /// All bytes, as they are by now. @throws what the storage throws.
    Bytes readAll() const;

    /// A message of the library, with the user's name of the file in the place of name().
    std::string inWords(std::string message) const;

private:
    void holdInMemory();
    void openByDescriptor();

    std::string argument_;
    std::string nameInFolder_;
    unsigned threads_ = 1;
    std::u16string name_;
    std::u16string path_;  ///< a name that messages may have as well; may be empty
    foundation::storage::vfs::StorageSystemReference storage_;
};

}  // namespace flowbook::tool
