#pragma once

#include "foundation/storage/vfs/MemoryStorage.hpp"

#include <memory>

namespace foundation::storage::vfs {

/// One version of a file in memory; which version it is, the address of the content tells.
class MemoryFile final : public ReadableFile {
public:
    using Content = std::shared_ptr<const MemoryStorage::Bytes>;

    explicit MemoryFile(Content content) noexcept;

    std::uint64_t size() const override;
    void read(std::uint64_t offset, void* to, std::size_t count) const override;

    const Content& content() const noexcept { return content_; }

private:
    Content content_;
};

}  // namespace foundation::storage::vfs
