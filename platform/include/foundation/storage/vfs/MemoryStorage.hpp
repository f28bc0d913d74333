#pragma once

#include "foundation/storage/vfs/StorageSystem.hpp"

#include <map>
#include <mutex>
#include <vector>

namespace foundation::storage::vfs {

/// Files in memory, by their exact names; gone with the object. Atomic and change-detecting, not
/// durable.
class PXPLATFORM_EXPORT MemoryStorage : public StorageSystem {
public:
    using Bytes = std::vector<unsigned char>;

    MemoryStorage();
    ~MemoryStorage() override;

    bool exists(const std::u16string& name) const override;
    std::unique_ptr<ReadableFile> openForReading(const std::u16string& name) const override;
    std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile* replaced) override;

    /// Sets a file's content at once, whether it exists or not.
    void put(const std::u16string& name, Bytes content);

    /// A copy of a file's content. @throws StorageError with kind NotFound.
    Bytes get(const std::u16string& name) const;

private:
    friend class MemoryReplacement;
    using Content = std::shared_ptr<const Bytes>;

    Content find(const std::u16string& name) const;  ///< null when there is none
    Content require(const std::u16string& name) const;
    static void checkUnchanged(const std::u16string& name, const Content& present, const Content& expected);
    void swapIn(const std::u16string& name, const Content& expected, Content content);

    mutable std::mutex mutex_;
    std::map<std::u16string, Content> files_;
};

}  // namespace foundation::storage::vfs
