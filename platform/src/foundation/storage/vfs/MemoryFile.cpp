#include "foundation/storage/vfs/MemoryFile.hpp"

#include "foundation/storage/vfs/StorageError.hpp"

#include <algorithm>
#include <string>
#include <utility>

namespace foundation::storage::vfs {

MemoryFile::MemoryFile(Content content) noexcept : content_(std::move(content)) {}

std::uint64_t MemoryFile::size() const { return content_->size(); }

void MemoryFile::read(std::uint64_t offset, void* to, std::size_t count) const {
    if (offset > size() || count > size() - offset) {
        throw StorageError(StorageErrorKind::Other,
                           "cannot read a file in memory at " + std::to_string(offset) + ": the file ends before that");
    }
    std::copy_n(content_->data() + offset, count, static_cast<unsigned char*>(to));
}

}  // namespace foundation::storage::vfs
