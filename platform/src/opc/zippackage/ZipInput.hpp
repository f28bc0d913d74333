#pragma once

#include "foundation/storage/vfs/ReadableFile.hpp"
#include "foundation/storage/vfs/Replacement.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace opc::zippackage {

/// Reads a file, and more than was asked for once one small piece after the other is: a call of the system for each
/// costs as much as all else that is done for a small part.
class ReadAhead {
public:
    /// @param file  outlives the object.
    explicit ReadAhead(const foundation::storage::vfs::ReadableFile& file) : file_(file) {}

    /// @param end  where the file ends at the earliest. @throws as ReadableFile::read().
    void copy(std::uint64_t offset, std::uint64_t count, void* to, std::uint64_t end);

private:
    /// Whether the pieces come one after the other.
    bool isRun(std::uint64_t offset, std::uint64_t count);
    bool has(std::uint64_t offset, std::uint64_t count) const;

    const foundation::storage::vfs::ReadableFile& file_;
    std::uint64_t lastOffset_ = 0;
    std::uint64_t lastEnd_ = 0;
    unsigned run_ = 0;
    std::unique_ptr<char[]> bytes_;
    std::uint64_t from_ = 0;
    std::uint64_t size_ = 0;
};

/// The bytes of a container, the end of which is held in memory: a small file is read at once. Failures are
/// opc::Exception.
class ZipInput {
public:
    using Buffer = std::unique_ptr<char[]>;

    /// Holds as much of the end as the end records can take up. @param file  outlives the object.
    ZipInput(const foundation::storage::vfs::ReadableFile& file, const std::string& fileName);

    std::uint64_t size() const noexcept { return size_; }

    /// Makes sure that everything from `offset` on is held. Views of what was held before become invalid.
    void hold(std::uint64_t offset);

    std::uint64_t heldFrom() const noexcept { return heldFrom_; }

    /// Returns a view of bytes that are held. Nothing is checked.
    std::string_view held(std::uint64_t offset, std::uint64_t count) const;

    /// Returns a view of bytes that are held, or that are read into `buffer`.
    std::string_view view(std::uint64_t offset, std::uint64_t count, Buffer& buffer) const;

    void copy(std::uint64_t offset, std::uint64_t count, void* to) const;

    const foundation::storage::vfs::ReadableFile& file() const noexcept { return file_; }

    /// What every message about this container begins with.
    const std::string& doing() const noexcept { return doing_; }

    /// @param entry  the name of the entry at fault, if it is one. @throws opc::Exception of kind Damaged.
    [[noreturn]] void damaged(const std::string& found, std::string_view entry = {}) const;

private:
    const foundation::storage::vfs::ReadableFile& file_;
    mutable ReadAhead readAhead_;
    std::string doing_;
    std::uint64_t size_;
    std::uint64_t heldFrom_;
    Buffer held_;
};

}  // namespace opc::zippackage
