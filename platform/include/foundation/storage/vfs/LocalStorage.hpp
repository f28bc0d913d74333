#pragma once

#include "foundation/storage/vfs/StorageSystem.hpp"

namespace foundation::storage::vfs {

/// The file system of the machine. Names are paths; relative ones start from the working directory. They must be
/// well-formed UTF-16, except that each unit of U+DC80 to U+DCFF standing alone is the byte 80 to FF of a path that is
/// not UTF-8.
///
/// A replacement is written to a temporary file beside its target, private to the user, and takes the target's place by
/// renameat2(2) once its content is durable: atomic, durable, and a conflict when the target's content was changed
/// meanwhile or a file has appeared. The content counts as changed when size or modification time differ; if only the
/// time of the last status change differs, Replacement::askWhenTouched decides. The target is locked from the last look
/// at it to the end, by flock(2), or by fcntl(2) where a file system has no flock, so that one of two replacements at
/// the same time is a conflict. Where the file system can exchange two names, a replacement by a program that takes no
/// lock is found out too, and its version gets its name back. A lock that another program holds for more than five
/// seconds is passed over.
///
/// The target's owner (where permitted), mode, ACL, user attributes, SELinux label and flags are kept, as they are when
/// it is replaced; access never gets wider on the way. An attribute that a file system cannot report or keep does not
/// stop a save. A symbolic link as the last component is followed, so links stay links; one that leads nowhere is
/// refused. A hard-linked file is replaced under the given name only; its other names keep the old content. A file that
/// the process may not write is refused, though its folder would permit it. Temporaries that a killed process left are
/// removed by a later replacement in the same folder, an hour after their last change at the earliest, and never while
/// they are in use; each process looks for them at its first replacement in a folder, and then once an hour at most.
class PXPLATFORM_EXPORT LocalStorage : public StorageSystem {
public:
    bool exists(const std::u16string& name) const override;
    /// Makes a relative path absolute.
    std::u16string anchored(const std::u16string& name) const override;
    std::unique_ptr<ReadableFile> openForReading(const std::u16string& name) const override;
    std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile* replaced) override;
};

}  // namespace foundation::storage::vfs
