#pragma once

#include "foundation/storage/vfs/StorageSystem.hpp"

#include <functional>
#include <memory>
#include <string>

namespace flowbook::python {

/// A storage of one file, which any name means, in the version that was opened at first; each later opening gives that
/// version again. So a save is a conflict when somebody else saved since the flowbook was opened, not only since
/// the save began. Reading, writing and committing stop when the caller of the current call has left.
class HeldStorage : public foundation::storage::vfs::StorageSystem {
public:
    using File = std::shared_ptr<const foundation::storage::vfs::ReadableFile>;
    /// Begins the replacement of the file that is saved to.
    using Sink = std::function<std::unique_ptr<foundation::storage::vfs::Replacement>()>;

    /// @param sink  null when nothing is written.
    explicit HeldStorage(File file, Sink sink = nullptr) : file_(std::move(file)), sink_(std::move(sink)) {}

    bool exists(const std::u16string&) const override { return true; }
    std::unique_ptr<foundation::storage::vfs::ReadableFile> openForReading(const std::u16string&) const override;
    std::unique_ptr<foundation::storage::vfs::Replacement>
    beginReplacement(const std::u16string&, const foundation::storage::vfs::ReadableFile*) override;

private:
    File file_;
    Sink sink_;
};

}  // namespace flowbook::python
