#pragma once

#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/ReadableFile.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <vector>

namespace flowbook::python {

/// One version of a file of the machine, in which thousands can be held at once: a small file is in memory, and of the
/// large ones some hundred are held open; the others are opened for each read, which fails when the name has come to
/// stand for another version.
class LocalVersion : public foundation::storage::vfs::ReadableFile {
public:
    /// @param path    absolute, as LocalStorage takes it. @param native  the same as the bytes of the system.
    /// @throws StorageError.
    LocalVersion(std::u16string path, std::string native);
    ~LocalVersion() override;

    std::uint64_t size() const override { return size_; }
    void read(std::uint64_t offset, void* to, std::size_t count) const override;

    /// The file for LocalStorage to replace. @throws StorageError, of kind Conflict when the name stands for another
    /// version by now.
    std::shared_ptr<const ReadableFile> forReplacing() const;

    /// Device, inode, size and time of the last change of the content in nanoseconds: equal for equal versions.
    using Identity = std::tuple<std::uint64_t, std::uint64_t, std::uint64_t, std::int64_t>;
    Identity identity() const;

    const std::u16string& path() const { return path_; }
    const std::string& native() const { return native_; }

private:
    using File = std::shared_ptr<const ReadableFile>;

    File openChecked(struct stat& seen) const;
    File reopened() const;

    std::u16string path_;
    std::string native_;
    struct stat status_ {};
    std::uint64_t size_ = 0;
    std::optional<std::vector<unsigned char>> content_;  ///< of a small file
    File file_;                                          ///< null when it is opened for each read
};

}  // namespace flowbook::python
