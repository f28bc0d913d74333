#pragma once

#include "foundation/storage/vfs/ReadableFile.hpp"

#include <cstdint>
#include <memory>

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

}  // namespace opc::zippackage
