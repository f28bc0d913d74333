#pragma once

#include "foundation/storage/vfs/LocalStorage.hpp"

#include <string>

namespace flowbook::tool {

/// The machine's files, whose replacements leave no temporary behind when a signal ends the command.
class GuardedStorage : public foundation::storage::vfs::StorageSystem {
public:
    GuardedStorage() = default;

    /// Every name means this one file, by a descriptor of which the object becomes the owner. So the name
    /// may be any bytes, and all that is opened is the same version of the file. It is replaced under the path by which
    /// it was opened; once that path leads elsewhere, replacing it is a conflict.
    GuardedStorage(int descriptor, std::string path);
    ~GuardedStorage() override;

    std::u16string anchored(const std::u16string& name) const override {
        return descriptorPath_.empty() ? local_.anchored(name) : name;
    }
    bool exists(const std::u16string& name) const override { return local_.exists(pathOf(name)); }
    std::unique_ptr<foundation::storage::vfs::ReadableFile> openForReading(const std::u16string& name) const override {
        return local_.openForReading(pathOf(name));
    }
    std::unique_ptr<foundation::storage::vfs::Replacement>
    beginReplacement(const std::u16string& name, const foundation::storage::vfs::ReadableFile* replaced) override;

    /// The path that stands for the descriptor; empty when there is none.
    const std::u16string& descriptorPath() const noexcept { return descriptorPath_; }

private:
    const std::u16string& pathOf(const std::u16string& name) const noexcept {
        return descriptorPath_.empty() ? name : descriptorPath_;
    }

    void requirePathStillLeadsHere() const;

    foundation::storage::vfs::LocalStorage local_;
    int descriptor_ = -1;
    std::string path_;
    std::u16string descriptorPath_;
};

}  // namespace flowbook::tool
