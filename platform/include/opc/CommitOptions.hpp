#pragma once

#include "fl/PlatformExport.hpp"

#include <functional>
#include <string>

namespace opc {

/// How a host's package library is asked to commit a package. This one keeps no backup of the file that it
/// replaces, which is whole until it is replaced: Package::close() takes no options, and nothing calls the
/// function that is given here.
class PXPLATFORM_EXPORT CommitOptions {
public:
    using BackupCreatedFcn = std::function<void(const std::u16string& backupName)>;

    /// Whether the backup of the old file is gone after the commit (the default) or kept.
    void removeBackup(bool remove) { removeBackup_ = remove; }
    bool removeBackup() const noexcept { return removeBackup_; }

    /// What is appended to the file's name to make the backup's.
    void backupExtension(const std::u16string& extension) { backupExtension_ = extension; }
    const std::u16string& backupExtension() const noexcept { return backupExtension_; }

    /// For when a kept backup has been written.
    void backupCreatedFcn(BackupCreatedFcn function) { backupCreated_ = std::move(function); }
    const BackupCreatedFcn& backupCreatedFcn() const noexcept { return backupCreated_; }

private:
    bool removeBackup_ = true;
    std::u16string backupExtension_ = u".bak";
    BackupCreatedFcn backupCreated_;
};

}  // namespace opc
