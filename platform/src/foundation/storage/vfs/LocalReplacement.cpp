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

/// Whether a file system, or an old kernel, answers so to a rename that it cannot do.
bool isUnsupported(int error) { return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == ENOTTY; }

/// A file that is open elsewhere.
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

/// @param path  of what was there when it was opened.
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

}  // namespace

LocalReplacement::LocalReplacement(const std::string& path, const LocalFile* replaced)
    : LocalReplacement(resolve(path, replaced != nullptr), replaced) {
    // From here on the destructor runs whatever is thrown, as the constructor delegated to is done.
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
    target.directory =
        Descriptor(retryInterrupted([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
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

/// Much changes the time of change and not the content: a link, an attribute, a mode set to what it was, a rename there
/// and back. But who sets the time of modification back can hide a change of the content from all but this time.
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

/// Renaming needs no right to the file itself; writing a file that is marked read-only is not what anybody expects.
void LocalReplacement::checkWritable() const {
    if (replaced_ != nullptr && ::faccessat(target_.directory.get(), target_.name.c_str(), W_OK, AT_EACCESS) == -1) {
        throwErrno("write", target_.path);
    }
}

/// A new file is to get the rights that the umask, or the default ACL of the folder in its place, gives to any new
/// file. Only the kernel applies them right, and the umask cannot be read without changing it for all threads. So the
/// file is created as any, what it got is noted, and only then is it closed to others. Who opens it in between has no
/// right to it that the finished file does not give, and finds it empty.
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

/// After a failure nothing more can come of the temporary, so it goes at once and frees the space.
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

/// Returns how much it copied. Why it was not all is no matter: copying the rest through memory either works, as
/// between two file systems, or fails with the reason.
std::uint64_t LocalReplacement::copyInKernel(const LocalFile& source, std::uint64_t offset, std::uint64_t count) {
    flush();
    constexpr std::uint64_t kAtOnce = 1 << 30;
    auto at = static_cast<off_t>(offset);
    std::uint64_t copied = 0;
    while (copied != count) {
        const auto wanted = static_cast<std::size_t>(std::min(count - copied, kAtOnce));
        const ssize_t got = ::copy_file_range(source.descriptor(), &at, temporary_.get(), nullptr, wanted, 0);
        if (got <= 0) {
            break;
        }
        copied += static_cast<std::uint64_t>(got);
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

void LocalReplacement::commit() {
    discardOnFailure([this] {
        requireTemporary();
        flush();
        setFinalAttributes();
        syncTemporary();
        putInPlace();
    });
    syncDirectory();
    sweepStaleTemporaries(target_.directory.get());
}

void LocalReplacement::setFinalAttributes() {
    if (replaced_ != nullptr) {
        takeOverAttributes();
    } else {
        setMode(temporary_.get(), newFileMode_, target_.path);
    }
}

void LocalReplacement::takeOverAttributes() {
    attributesOf_ = replaced_->identityNow();
    copyAttributes(replaced_->descriptor(), temporary_.get(), target_.path);
}

/// A failed fsync is never tried again: the kernel reports lost pages once, and then takes them for clean.
void LocalReplacement::syncTemporary() {
    if (::fsync(temporary_.get()) == -1) {
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

/// Renames unless the target exists, atomically.
int LocalReplacement::renameToAbsent() const {
    const int directory = target_.directory.get();
    const char* const temporary = temporaryName_.c_str();
    const char* const target = target_.name.c_str();
    const int result = ::renameat2(directory, temporary, directory, target, RENAME_NOREPLACE);
    if (result == 0 || !isUnsupported(errno)) {
        return result;
    }
    // The file system cannot do that, but a link never replaces anything either.
    if (::linkat(directory, temporary, directory, target, 0) == 0) {
        ::unlinkat(directory, temporary, 0);
        return 0;
    }
    if (errno == EEXIST) {
        return -1;
    }
    checkTarget();  // in this file system nothing better can be had
    return ::renameat(directory, temporary, directory, target);
}

/// All writers of this library that have opened the same version lock the same file, and the version that they make is
/// locked until they have looked at what it displaced. So nobody who keeps to this comes between.
void LocalReplacement::replace() {
    const FileLock lock(replaced_->descriptor(), FileLock::Wait::AFewSeconds);
    checkTarget();
    checkUntouched();
    if (!replaced_->identityNow().isUntouchedSince(*attributesOf_)) {
        takeOverAttributes();  // others have changed them since
        syncTemporary();
    }
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

void LocalReplacement::exchangeOrRename() {
    const int directory = target_.directory.get();
    switch (Exchange(directory, temporaryName_, target_.name, temporary_.get(), *replaced_).run()) {
    case ExchangeResult::Done:
        takeOverLastAttributes();
        removeTemporary();
        return;
    case ExchangeResult::Unverified:
        return;  // a later sweep looks at it again
    case ExchangeResult::Reverted:
        ::fsync(directory);  // or power loss might undo the return of the other version only
        throwConflict(target_.path, kChanged);
    case ExchangeResult::Entangled:
        ::fsync(directory);
        throwConflict(target_.path,
                      std::string(kChanged) + ", and one of its versions is now named " + giveUpTemporary());
    case ExchangeResult::Failed:
        break;
    }
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
    rename(target_.name);  // in this file system nothing better can be had
}

/// An owner or a mode that others gave the file in the last moment. The file has its name already, so that failing to
/// take these over too fails no save.
void LocalReplacement::takeOverLastAttributes() noexcept {
    try {
        if (!replaced_->identityNow().hasOwnerAndModeOf(*attributesOf_)) {
            takeOverAttributes();
            syncTemporary();
        }
    } catch (...) {
        ::fchmod(temporary_.get(), kPrivateMode);  // rather than that more may read it than were to
    }
}

void LocalReplacement::syncDirectory() const {
    if (::fsync(target_.directory.get()) == -1) {
        const std::string reason = std::generic_category().message(errno);
        throw StorageError(StorageErrorKind::NotDurable,
                           "replaced \"" + target_.path + "\", but cannot make its folder entry durable: " + reason);
    }
}

void LocalReplacement::discard() noexcept {
    removeTemporary();
    giveUpTemporary();
    buffer_ = {};
}

void LocalReplacement::removeTemporary() noexcept {
    if (!temporaryName_.empty()) {
        ::unlinkat(target_.directory.get(), temporaryName_.c_str(), 0);  // should this fail, a later sweep gets it
    }
}

/// Returns the name that it had.
std::string LocalReplacement::giveUpTemporary() noexcept {
    temporaryLock_.reset();
    temporary_.reset();
    return std::exchange(temporaryName_, {});
}

}  // namespace foundation::storage::vfs
