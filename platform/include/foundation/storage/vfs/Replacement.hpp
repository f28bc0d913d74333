#pragma once

#include "foundation/storage/vfs/ReadableFile.hpp"

#include <functional>

namespace foundation::storage::vfs {

/// The new content of a file, under way. It does not appear under the file's name before commit(); after
/// a failure, discard() or destruction nothing of it is left and the old file is as it was. One
/// object is used by one thread at a time.
class PXPLATFORM_EXPORT Replacement {
public:
    Replacement() = default;
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    /// Discards what was not committed. Never throws.
    virtual ~Replacement() = default;

    /// Appends bytes; many small pieces are fine. @throws StorageError; the replacement can then only be discarded.
    virtual void write(const void* from, std::size_t count) = 0;

    /// Appends `count` bytes of `source` from `offset` on; a storage may do so without moving them
    /// through memory. @throws StorageError as write() and ReadableFile::read().
    virtual void append(const ReadableFile& source, std::uint64_t offset, std::uint64_t count);

    /// What was written so far, to be read until the next call of another function; null when the storage cannot give
    /// it back. @throws StorageError as write().
    virtual const ReadableFile* written() { return nullptr; }

    /// Sets what commit() asks when the file that is to be replaced has the same size and modification time as when it
    /// was opened, but something was done to it: a link was made, an attribute set, or perhaps content was written and
    /// the time set back. Without such a question, size and time alone decide.
    /// @param isUnchanged  returns whether the file's content is what was opened; what it throws leaves commit().
    // By value, as a storage that asks keeps it. NOLINTNEXTLINE(performance-unnecessary-value-param)
    virtual void askWhenTouched(std::function<bool()> isUnchanged) { static_cast<void>(isUnchanged); }

    /// Gives the file its new content: atomically, and as durably as the storage can. At
    /// most once; nothing may be appended afterwards.
    /// @throws StorageError. Kind Conflict: the file is no longer the one that was to be replaced, or
    ///         a file has appeared where none was; it is left alone, or, where more programs came between,
    ///         kept under the name in what(). Kind NotDurable: the file *is* replaced. With every other kind it is as
    ///         it was before.
    virtual void commit() = 0;

    /// Gives up. Does nothing after commit(). Never throws.
    virtual void discard() noexcept = 0;
};

}  // namespace foundation::storage::vfs
