#pragma once

#include "foundation/storage/vfs/MemoryFile.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"

#include <string>

namespace foundation::storage::vfs {

/// Collects the new content and swaps it in.
class MemoryReplacement final : public Replacement {
public:
    /// @param replaced  what the file must still hold at the commit; null when there must be none.
    MemoryReplacement(MemoryStorage& storage, std::u16string name, MemoryFile::Content replaced);

    void write(const void* from, std::size_t count) override;
    void commit() override;
    void discard() noexcept override;

private:
    void requirePending() const;

    MemoryStorage& storage_;
    std::u16string name_;
    MemoryFile::Content replaced_;
    std::shared_ptr<MemoryStorage::Bytes> content_;  ///< null after commit and discard
};

}  // namespace foundation::storage::vfs
