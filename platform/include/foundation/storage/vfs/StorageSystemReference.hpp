#pragma once

#include "foundation/storage/vfs/StorageSystem.hpp"

#include <memory>
#include <utility>

namespace foundation::storage::vfs {

/// A copyable, shared handle on a storage system; never empty.
class StorageSystemReference {
public:
    /// @param storage  not null.
    explicit StorageSystemReference(std::shared_ptr<StorageSystem> storage) : storage_(std::move(storage)) {}

    StorageSystem& operator*() const noexcept { return *storage_; }
    StorageSystem* operator->() const noexcept { return storage_.get(); }

private:
    std::shared_ptr<StorageSystem> storage_;
};

}  // namespace foundation::storage::vfs
