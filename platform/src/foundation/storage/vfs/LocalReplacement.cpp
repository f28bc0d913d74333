// How a file of the machine is replaced. The order of the steps keeps both versions safe: the temporary is complete and
// synced before it takes the target's name, the target is looked at once more under a lock just before the names
// change, and what was displaced is looked at just after. docs/reliability.md describes the protocol and
// tests/protocol/save.pml models it: whoever moves a step here has to move it there too.
#include "foundation/storage/vfs/LocalReplacement.hpp"

#include "fl/filesystem/NativePath.hpp"
#include "foundation/storage/vfs/Descriptor.hpp"
#include "foundation/storage/vfs/Exchange.hpp"
#include "foundation/storage/vfs/FileAttributes.hpp"
#include "foundation/storage/vfs/StorageError.hpp"
#include "foundation/storage/vfs/Temporaries.hpp"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace foundation::storage::vfs {
namespace {

/// Many small writes would otherwise cost a system call each.
constexpr std::size_t kBufferSize = std::size_t{256} << 10;
constexpr mode_t kPrivateMode = S_IRUSR | S_IWUSR;
constexpr mode_t kNewFileMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

[[noreturn]] void throwConflict(const std::string& path, const std::string& found) {
    throw StorageError(StorageErrorKind::Conflict, "cannot replace \"" + path + "\": " + found);
}

const char* const kChanged = "it has changed since it was opened";
const char* const kAppeared = "it has appeared where no file was";

[[noreturn]] void throwRemoved(const std::string& path) {
    throwConflict(path, "it has been removed since it was opened");
}

/// Whether a file system, or an old kernel, answers so to a call that it does not have.
bool isUnsupported(int error) { return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == ENOTTY; }

/// The temporary, for a caller that reads back what it has written. The descriptor belongs to the replacement.
class OpenFile final : public ReadableFile {
public:
    OpenFile(int descriptor, const std::string& path)
        : descriptor_(descriptor), path_(path), size_(FileIdentity(statusOf(descriptor, path)).size()) {}

    std::uint64_t size() const override { return size_; }
    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        readExactly(descriptor_, path_, offset, to, count);
    }

private:
    int descriptor_;
    const std::string& path_;
    std::uint64_t size_;
};

/// Returns the target's path with all symbolic links resolved, so that a link stays a link and its target is replaced.
/// @param path  of a file that existed when it was opened. If it is gone by now, that is a conflict.
std::string withoutLinks(const std::string& path) {
    auto resolved = fl::filesystem::realPath(path);
    if (!resolved && errno == ENOENT) {
        throwRemoved(path);
    }
    if (!resolved) {
        throwErrno("resolve", path);
    }
    return *std::move(resolved);
}

/// Opens a folder. One that may be written but not listed, such as a drop box for others, is opened as a path only,
/// which serves all calls here but fsync(2); see LocalReplacement::syncFolder().
Descriptor openFolder(const std::string& folder) {
    const auto open = [&](int how) {
        return Descriptor(retryInterrupted([&] { return ::open(folder.c_str(), how | O_DIRECTORY | O_CLOEXEC); }));
    };
    Descriptor opened = open(O_RDONLY);
    return opened || errno != EACCES ? std::move(opened) : open(O_PATH);
}

}  // namespace

LocalReplacement::LocalReplacement(const std::string& path, const LocalFile* replaced)
    : LocalReplacement(resolve(path, replaced != nullptr), replaced) {
    // The delegated constructor has completed, so the destructor runs whatever is thrown from here on. It removes the
    // temporary that createTemporary() makes.
    checkTarget();
    checkWritable();
    createTemporary();
}

LocalReplacement::LocalReplacement(Target target, const LocalFile* replaced)
    : target_(std::move(target)), replaced_(replaced) {}

LocalReplacement::Target LocalReplacement::resolve(const std::string& path, bool exists) {
    Target target;
    target.path = exists ? withoutLinks(path) : path;
    const std::size_t nameAt = target.path.find_last_of('/') + 1;
    target.name = target.path.substr(nameAt);
    if (target.name.empty()) {
        throw StorageError(StorageErrorKind::Other, "cannot write \"" + path + "\": it does not name a file");
    }
    const std::string folder = nameAt == 0 ? "." : target.path.substr(0, nameAt);
    target.directory = openFolder(folder);
    if (!target.directory) {
        throwErrno("open the folder of", path);
    }
    return target;
}

void LocalReplacement::checkTarget() const {
    struct stat present {};
    const bool found = ::fstatat(target_.directory.get(), target_.name.c_str(), &present, AT_SYMLINK_NOFOLLOW) == 0;
    if (!found && errno != ENOENT) {
        throwErrno("look at", target_.path);
    }
    if (replaced_ != nullptr) {
        checkReplaced(found, present);
    } else {
        checkAbsent(found, present);
    }
}

void LocalReplacement::checkReplaced(bool found, const struct stat& present) const {
    if (!found) {
        throwRemoved(target_.path);
    }
    const FileIdentity now = replaced_->identityNow();
    if (!now.isSameFileAs(FileIdentity(present)) || !now.hasContentOf(replaced_->identity())) {
        throwConflict(target_.path, kChanged);
    }
}

/// Decides when only the time of the last status change (ctime) is another one. That time changes without any change of
/// the content: when a link is made, an attribute or a mode set, or the file renamed there and back. But a program that
/// writes and then sets the modification time back can be recognised by this time alone, so the content is compared.
void LocalReplacement::checkUntouched() const {
    const bool isTouched = !replaced_->identityNow().isUntouchedSince(replaced_->identity());
    if (isTouched && isUnchanged_ && !isUnchanged_()) {
        throwConflict(target_.path, kChanged);
    }
}

void LocalReplacement::checkAbsent(bool found, const struct stat& present) const {
    if (found && !S_ISREG(present.st_mode)) {
        throw StorageError(StorageErrorKind::Other,
                           "cannot write \"" + target_.path + "\": what has that name is not a regular file");
    }
    if (found) {
        throwConflict(target_.path, kAppeared);
    }
}

/// Replacing a file by renaming needs no right to the file itself. But a user who marked a file as read-only does not
/// expect it to be written, so the right to write is asked for as if the file were written in place.
void LocalReplacement::checkWritable() const {
    if (replaced_ != nullptr && ::faccessat(target_.directory.get(), target_.name.c_str(), W_OK, AT_EACCESS) == -1) {
        throwErrno("write", target_.path);
    }
}

/// A new file is to have the rights that the umask, or the default ACL of its folder, gives to any new file. Only the
/// kernel can apply these correctly, and the umask cannot be read without changing it for all threads. So the temporary
/// is created like any file, the mode that it got is noted, and then it is closed to others until the commit. A program
/// that opens it in between has no right that the finished file would not give it, and finds it empty.
void LocalReplacement::createTemporary() {
    std::string name = newTemporaryName();
    const mode_t mode = replaced_ != nullptr ? kPrivateMode : kNewFileMode;
    temporary_ = Descriptor(retryInterrupted([&] {
        return ::openat(target_.directory.get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                        mode);
    }));
    if (!temporary_) {
        throwErrno("create a temporary beside", target_.path);
    }
    temporaryName_ = std::move(name);
    temporaryLock_.emplace(temporary_.get(), FileLock::Wait::No);
    if (replaced_ == nullptr) {
        newFileMode_ = modeOf(temporary_.get(), target_.path);
        setMode(temporary_.get(), kPrivateMode, target_.path);
    }
}

/// Discards the temporary when `work` throws. Nothing more can come of it, and the space that it takes may be what the
/// user lacks.
template <class Work>
void LocalReplacement::discardOnFailure(Work work) {
    try {
        work();
    } catch (...) {
        discard();
        throw;
    }
}

void LocalReplacement::requireTemporary() const {
    if (temporaryName_.empty()) {
        throw StorageError(StorageErrorKind::Other,
                           "cannot write \"" + target_.path + "\": its replacement is committed or discarded");
    }
}

void LocalReplacement::write(const void* from, std::size_t count) {
    discardOnFailure([&] {
        requireTemporary();
        writeBuffered(static_cast<const unsigned char*>(from), count);
    });
}

/// Gathers small writes, as a container is written field by field. Writes that fill the buffer go to the system as they
/// are, behind what is gathered.
void LocalReplacement::writeBuffered(const unsigned char* from, std::size_t count) {
    if (count > kBufferSize - buffer_.size()) {
        flush();
    }
    if (count >= kBufferSize) {
        writeThrough(from, count);
    } else {
        buffer_.insert(buffer_.end(), from, from + count);
    }
}

void LocalReplacement::writeThrough(const unsigned char* from, std::size_t count) {
    while (count != 0) {
        const ssize_t written = retryInterrupted([&] { return ::write(temporary_.get(), from, count); });
        if (written == -1) {
            throwErrno("write the temporary for", target_.path);
        }
        from += written;
        count -= static_cast<std::size_t>(written);
        startWriteBack(static_cast<std::uint64_t>(written));
    }
}

/// Has the system begin to bring large content to the disk while the rest of it is still being made, so that the sync
/// at the end has less to wait for. A system that cannot do that is none the worse; a failure of the disk is one of the
/// save.
/// @param count  bytes that the temporary got since the last call.
void LocalReplacement::startWriteBack(std::uint64_t count) {
    constexpr std::uint64_t kWorthwhile = 8 << 20;
    waitingForDisk_ += count;
    if (waitingForDisk_ < kWorthwhile) {
        return;
    }
    waitingForDisk_ = 0;
    const bool isStarted = ::sync_file_range(temporary_.get(), 0, 0, SYNC_FILE_RANGE_WRITE) == 0;
    if (!isStarted && (errno == EIO || errno == ENOSPC || errno == EDQUOT)) {
        throwErrno("write the temporary for", target_.path);
    }
}

void LocalReplacement::flush() {
    writeThrough(buffer_.data(), buffer_.size());
    buffer_.clear();
}

void LocalReplacement::append(const ReadableFile& source, std::uint64_t offset, std::uint64_t count) {
    discardOnFailure([&] {
        requireTemporary();
        const auto* local = count < kBufferSize ? nullptr : dynamic_cast<const LocalFile*>(&source);
        const std::uint64_t copied = local == nullptr ? 0 : copyInKernel(*local, offset, count);
        Replacement::append(source, offset + copied, count - copied);
    });
}

/// Copies within the kernel where it can, which file systems with shared extents do without reading. Returns how much
/// was copied. The reason for stopping early does not matter: copying the rest through memory either works, as between
/// two file systems, or fails with the reason.
std::uint64_t LocalReplacement::copyInKernel(const LocalFile& source, std::uint64_t offset, std::uint64_t count) {
    flush();
    constexpr std::uint64_t kAtOnce = 16 << 20;
    auto at = static_cast<off_t>(offset);
    std::uint64_t copied = 0;
    while (copied != count) {
        const auto wanted = static_cast<std::size_t>(std::min(count - copied, kAtOnce));
        const ssize_t got = ::copy_file_range(source.descriptor(), &at, temporary_.get(), nullptr, wanted, 0);
        if (got <= 0) {
            break;
        }
        copied += static_cast<std::uint64_t>(got);
        startWriteBack(static_cast<std::uint64_t>(got));
    }
    return copied;
}

const ReadableFile* LocalReplacement::written() {
    discardOnFailure([this] {
        requireTemporary();
        flush();
        written_ = std::make_unique<OpenFile>(temporary_.get(), target_.path);
    });
    return written_.get();
}

/// The order of the steps matters. The attributes are set before the content appears under the final name, so that it
/// is never open to more users than it is meant for. The content is synced before the rename, or power loss could leave
/// the name with an empty file. After the rename the new version is in place, so neither a failure to sync the folder
/// nor one to sweep may discard anything.
void LocalReplacement::commit() {
    discardOnFailure([this] {
        requireTemporary();
        flush();
        setFinalAttributes();
        syncTemporary();
        putInPlace();
    });
    syncDirectory();
    temporary_.reset();
    sweepStaleTemporaries(target_.directory.get());
}

void LocalReplacement::setFinalAttributes() {
    if (replaced_ != nullptr) {
        takeOverAttributes();
    } else {
        setMode(temporary_.get(), newFileMode_, target_.path);
    }
}

/// The identity is noted before the attributes are copied: a change that comes between the two is found by the
/// comparison just before the exchange, and the attributes are copied again.
void LocalReplacement::takeOverAttributes() {
    attributesOf_ = replaced_->identityNow();
    copyAttributes(replaced_->descriptor(), temporary_.get(), target_.path);
}

/// A failed fsync is not repeated, only an interrupted one: the kernel reports lost pages once and marks them as clean,
/// so that a second call would succeed although the data is gone.
void LocalReplacement::syncTemporary() {
    if (retryInterrupted([this] { return ::fsync(temporary_.get()); }) == -1) {
        throwErrno("make durable the temporary for", target_.path);
    }
    // Network file systems may report a failed write only when a descriptor is closed. An interrupted close has closed
    // all the same. The file stays open, as its lock is needed to the end.
    Descriptor another(::fcntl(temporary_.get(), F_DUPFD_CLOEXEC, 0));
    if (!another || (::close(another.release()) == -1 && errno != EINTR)) {
        throwErrno("close the temporary for", target_.path);
    }
}

void LocalReplacement::putInPlace() {
    if (replaced_ != nullptr) {
        replace();
    } else {
        create();
    }
    giveUpTemporary();
}

/// Takes no lock: there is no old version that writers could lock, and the rename itself refuses when a file has
/// appeared.
void LocalReplacement::create() {
    checkTarget();
    if (renameToAbsent() == 0) {
        return;
    }
    if (errno == EEXIST) {
        throwConflict(target_.path, kAppeared);
    }
    throwErrno("rename the temporary onto", target_.path);
}

/// Renames unless the target exists, in one step. Of the three ways the first that the file system knows is taken: a
/// rename that never replaces, a link that never replaces, and at last a look followed by a plain rename, which is all
/// that some file systems in user space offer.
int LocalReplacement::renameToAbsent() const {
    const int directory = target_.directory.get();
    const char* const temporary = temporaryName_.c_str();
    const char* const target = target_.name.c_str();
    const int result = ::renameat2(directory, temporary, directory, target, RENAME_NOREPLACE);
    if (result == 0 || !isUnsupported(errno)) {
        return result;
    }
    if (::linkat(directory, temporary, directory, target, 0) == 0) {
        ::unlinkat(directory, temporary, 0);
        return 0;
    }
    if (errno == EEXIST) {
        return -1;
    }
    checkTarget();
    return ::renameat(directory, temporary, directory, target);
}

/// All writers of this library that opened the same version lock that one file. The version that they make is locked as
/// well, by temporaryLock_, until they have looked at what it displaced. So no program that takes these locks can come
/// between the last look and the exchange; a program that takes none is found out by the look after the exchange.
void LocalReplacement::replace() {
    const FileLock lock(replaced_->descriptor(), FileLock::Wait::AFewSeconds);
    checkTarget();
    checkUntouched();
    // Another program may have changed owner, mode or attributes since they were copied, while the content was synced.
    if (!replaced_->identityNow().isUntouchedSince(*attributesOf_)) {
        takeOverAttributes();
        syncTemporary();
    }
    // From its new name a later sweep learns which two contents it may remove, should the process be killed below.
    std::string name =
        exchangeName(temporaryName_, fingerprintOf(temporary_.get()), fingerprintOf(replaced_->descriptor()));
    rename(name);
    temporaryName_ = std::move(name);
    exchangeOrRename();
}

void LocalReplacement::rename(const std::string& to) {
    const int directory = target_.directory.get();
    if (::renameat(directory, temporaryName_.c_str(), directory, to.c_str()) == -1) {
        throwErrno("rename the temporary onto", target_.path);
    }
}

/// Handles every end that an exchange of names can have. Only a file that is certainly the displaced old version is
/// removed; a version of another program keeps a name, which the error reports.
void LocalReplacement::exchangeOrRename() {
    const int directory = target_.directory.get();
    switch (Exchange(directory, temporaryName_, target_.name, temporary_.get(), *replaced_).run()) {
    case ExchangeResult::Done:
        takeOverLastAttributes();
        removeTemporary();
        return;
    case ExchangeResult::Unverified:
        return;  // the new version is in place; a later sweep compares the displaced file and decides
    case ExchangeResult::Reverted:
        syncFolder();  // else power loss could undo the second exchange and not the first
        throwConflict(target_.path, kChanged);
    case ExchangeResult::Entangled:
        syncFolder();
        throwConflict(target_.path,
                      std::string(kChanged) + ", and one of its versions is now named " + giveUpTemporary());
    case ExchangeResult::Failed:
        break;
    }
    throwUnlessUnsupported();
    rename(target_.name);  // the best that this file system offers: it has no exchange of names
}

/// @throws StorageError for the reason in errno, unless it says that the file system cannot exchange names.
void LocalReplacement::throwUnlessUnsupported() const {
    if (errno == ENOENT) {
        throwRemoved(target_.path);
    }
    if (errno == EBUSY) {
        throw StorageError(StorageErrorKind::Other,
                           "cannot replace \"" + target_.path +
                               "\": it is a mount point of its own, as a single file is that a container mounts; mount "
                               "its folder instead, or save under another name");
    }
    if (!isUnsupported(errno)) {
        throwErrno("exchange the temporary with", target_.path);
    }
}

/// Takes over an owner or a mode that another program gave the file at the last moment. The new version has its name
/// already, so that a failure here must not fail the save. It closes the file to others instead, rather than give
/// access that was just taken away.
void LocalReplacement::takeOverLastAttributes() noexcept {
    try {
        if (!replaced_->identityNow().hasOwnerAndModeOf(*attributesOf_)) {
            takeOverAttributes();
            syncTemporary();
        }
    } catch (...) {
        ::fchmod(temporary_.get(), kPrivateMode);
    }
}

/// A file system without any sync of folders, such as those that share a folder with a virtual machine, keeps its
/// entries as well as it can. A failure that every save has, and that no user can mend, is not reported.
void LocalReplacement::syncDirectory() const {
    if (syncFolder() == -1 && !isUnsupported(errno)) {
        const std::string reason = std::generic_category().message(errno);
        throw StorageError(StorageErrorKind::NotDurable,
                           "replaced \"" + target_.path + "\", but cannot make its folder entry durable: " + reason);
    }
}

/// Syncs the folder, or all of its file system where the folder may not be listed, so that it is open as a path only.
int LocalReplacement::syncFolder() const noexcept {
    const int result = retryInterrupted([this] { return ::fsync(target_.directory.get()); });
    return result == -1 && errno == EBADF ? ::syncfs(temporary_.get()) : result;
}

void LocalReplacement::discard() noexcept {
    removeTemporary();
    giveUpTemporary();
    temporary_.reset();
    buffer_ = {};
}

void LocalReplacement::removeTemporary() noexcept {
    if (!temporaryName_.empty()) {
        ::unlinkat(target_.directory.get(), temporaryName_.c_str(), 0);  // if this fails, a later sweep removes it
    }
}

/// Unlocks the temporary without removing it, and returns the name that it had.
std::string LocalReplacement::giveUpTemporary() noexcept {
    temporaryLock_.reset();
    return std::exchange(temporaryName_, {});
}

}  // namespace foundation::storage::vfs
