// Writes files whose names come out of a flowbook, which may come from anyone. Each folder on the way is opened by
// itself, and never through a symbolic link, so that nothing is written outside, not even by a program that swaps
// folders meanwhile.
#include "io/SafeFolder.hpp"

#include "io/Interruption.hpp"
#include "kit/document/Characters.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace flowbook::tool {

namespace {

// Each level costs an open folder for a moment and a name on the disk. No flowbook needs that many.
constexpr int kDeepest = 64;
// So that an interruption need not wait until a file of gigabytes is written.
constexpr std::size_t kAtOnce = std::size_t{1} << 20;
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const noexcept { return fd_; }

    bool close() noexcept {
        const int fd = std::exchange(fd_, -1);
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int fd_;
};

[[noreturn]] void throwFailure(const std::string& file) {
    const std::string hint = errno == EEXIST ? "; --force replaces it" : "";
    throw Failure(ExitCode::InputOutput, file, "cannot write: " + std::generic_category().message(errno) + hint);
}

constexpr char kTemporary[] = ".flowbook-";

/// A name that nothing has: what a run left behind that was killed is not in the way of one with its process id.
std::string temporaryName() {
    std::uint64_t random = 0;
    if (::getentropy(&random, sizeof random) != 0) {
        throw Failure(ExitCode::InputOutput, "cannot get random numbers: " + std::generic_category().message(errno));
    }
    return kTemporary + std::to_string(random);
}

/// Other programs see the file only once it is complete. A file that has its name stays until then, and its other
/// links keep the old content.
class Temporary {
public:
    Temporary(int folder, const std::string& file) : folder_(folder), name_(temporaryName()), file_(&file) {
        constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        descriptor_ = Descriptor(::openat(folder_, name_.c_str(), kFlags, 0666));
        if (descriptor_.get() < 0) {
            throwFailure(file);
        }
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;
    ~Temporary() { ::unlinkat(folder_, name_.c_str(), 0); }

    /// @param sync  whether it must be durable at once, as it is to take the place of another file.
    void write(const Bytes& content, bool sync) {
        std::size_t done = 0;
        while (done < content.size()) {
            Interruption::check();
            const std::size_t count = std::min(content.size() - done, kAtOnce);
            const ssize_t written = ::write(descriptor_.get(), content.data() + done, count);
            if (written < 0 && errno != EINTR) {
                throwFailure(*file_);
            }
            done += written < 0 ? 0 : static_cast<std::size_t>(written);
        }
        if ((sync && ::fsync(descriptor_.get()) != 0) || !descriptor_.close()) {
            throwFailure(*file_);
        }
    }

    void rename(const std::string& name, bool replace) {
        Interruption::check();
        // A link, unlike a rename, fails when the name has been taken meanwhile.
        const int result = replace ? ::renameat(folder_, name_.c_str(), folder_, name.c_str())
                                   : ::linkat(folder_, name_.c_str(), folder_, name.c_str(), 0);
        if (result != 0) {
            throwFailure(*file_);
        }
    }

private:
    Interruption interruption_;
    int folder_;
    std::string name_;
    const std::string* file_;
    Descriptor descriptor_{-1};
};

void createFile(int folder, const std::string& name, const Bytes& content, const std::string& file, bool replace) {
    Temporary temporary(folder, file);
    // Only a file that takes the place of another is synced at once: until then the old content would be lost in a
    // crash. New ones are synced together, by sync().
    const bool isThere = replace && ::faccessat(folder, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    temporary.write(content, isThere);
    temporary.rename(name, replace);
}

/// Whether a file of this folder is what a run left behind that was killed: one that is being written is younger.
bool isLeftover(int folder, const char* name) {
    constexpr std::time_t kOldEnough = 3600;
    const std::string_view digits =
        std::string_view(name).substr(std::min(std::strlen(name), std::size(kTemporary) - 1));
    struct stat status {};
    return kit::startsWith(name, kTemporary) && !digits.empty() &&
           digits.find_first_not_of("0123456789") == std::string_view::npos &&
           ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode) &&
           status.st_mtime < std::time(nullptr) - kOldEnough;
}

/// What cannot be listed or removed stays: nothing depends on it.
void removeLeftovers(int folder) noexcept {
    DIR* const all = ::fdopendir(::openat(folder, ".", kFolderFlags));
    for (const dirent* each = nullptr; all != nullptr && (each = ::readdir(all)) != nullptr;) {
        if (isLeftover(folder, each->d_name)) {
            ::unlinkat(folder, each->d_name, 0);
        }
    }
    if (all != nullptr) {
        ::closedir(all);
    }
}

void checkComponent(const std::string& name, const std::string& file) {
    if (name.empty() || name == "." || name == ".." || name.find('\0') != std::string::npos) {
        throw Failure(ExitCode::Damaged, file, "this name could lead out of the folder");
    }
}

std::string baseName(const std::string& file) { return file.substr(file.rfind('/') + 1); }

/// Opens the folder that a file lies in; the descriptor is not valid when that cannot be done.
/// @param start  where in `file` the path below `root` begins.
/// @param make   whether folders that are missing are made.
Descriptor openParent(int root, const std::string& file, std::size_t start, bool make) {
    Descriptor folder(::openat(root, ".", kFolderFlags));
    for (std::size_t slash = file.find('/', start); slash != std::string::npos && folder.get() >= 0;
         slash = file.find('/', start)) {
        const std::string component = file.substr(start, slash - start);
        checkComponent(component, file);
        const bool isThere = !make || ::mkdirat(folder.get(), component.c_str(), 0777) == 0 || errno == EEXIST;
        folder = Descriptor(isThere ? ::openat(folder.get(), component.c_str(), kFolderFlags | O_NOFOLLOW) : -1);
        start = slash + 1;
    }
    checkComponent(baseName(file), file);
    return folder;
}

/// @param size  what the file is said to have; it may grow or shrink meanwhile.
Bytes readAll(int descriptor, std::size_t size, std::size_t most, const std::string& file) {
    Bytes content(std::min(size + 1, most));  // one byte more than expected, so that the end of the file is seen
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = ::read(descriptor, content.data() + done, content.size() - done);
        if (count == 0) {
            break;
        }
        if (count < 0 && errno != EINTR) {
            throw Failure(ExitCode::InputOutput, file, "cannot read: " + std::generic_category().message(errno));
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        content.resize(done == content.size() ? std::min(most, done + done / 8 + kAtOnce) : content.size());
    }
    content.resize(done);
    return content;
}

}  // namespace

SafeFolder::SafeFolder(const std::string& path, bool replace) : path_(path), folder_(-1), replace_(replace) {
    if (::mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
        throwFailure(path);
    }
    folder_ = ::open(path.c_str(), kFolderFlags);
    if (folder_ < 0) {
        throwFailure(path);
    }
}

SafeFolder::SafeFolder(const std::string& path)
    : path_(path), folder_(::open(path.c_str(), kFolderFlags)), replace_(false) {
    if (folder_ < 0) {
        throw Failure(ExitCode::InputOutput, path, "cannot read: " + std::generic_category().message(errno));
    }
}

void SafeFolder::lock() const noexcept {
    // Where the file system has no locks, runs in one folder do not take turns; each file is replaced at once all the
    // same.
    while (::flock(folder_, LOCK_EX) != 0 && errno == EINTR) {
    }
    removeLeftovers(folder_);
}

std::optional<Bytes> SafeFolder::read(const std::string& name, std::size_t most) const {
    const std::string file = path_ + "/" + name;
    const Descriptor folder = openParent(folder_, file, path_.size() + 1, false);
    // Opening a pipe or a device must not wait, nor do anything.
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const Descriptor descriptor(folder.get() < 0 ? -1 : ::openat(folder.get(), baseName(file).c_str(), kFlags));
    if (descriptor.get() < 0 && errno == ENOENT) {
        return std::nullopt;
    }
    struct stat status {};
    if (descriptor.get() < 0 || ::fstat(descriptor.get(), &status) != 0) {
        throw Failure(ExitCode::InputOutput, file, "cannot read: " + std::generic_category().message(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(ExitCode::InputOutput, file, "cannot read: not a regular file");
    }
    return readAll(descriptor.get(), static_cast<std::size_t>(status.st_size), most, file);
}

void SafeFolder::sync() const {
    if (!written_.empty() && ::syncfs(folder_) != 0) {
        throwFailure(path_);
    }
}

void SafeFolder::remove(const std::string& name) const {
    const std::string file = path_ + "/" + name;
    const Descriptor folder = openParent(folder_, file, path_.size() + 1, false);
    if (folder.get() < 0 || ::unlinkat(folder.get(), baseName(file).c_str(), 0) != 0) {
        throw Failure(ExitCode::InputOutput, file, "cannot remove: " + std::generic_category().message(errno));
    }
}

SafeFolder::~SafeFolder() { ::close(folder_); }

void SafeFolder::write(const std::string& name, const Bytes& content) {
    const std::string file = path_ + "/" + name.substr(kit::startsWith(name, "/") ? 1 : 0);
    if (const std::lock_guard<std::mutex> lock(mutex_); !written_.insert(file).second) {
        throw Failure(ExitCode::Damaged, file, "two parts would become this file");
    }
    if (std::count(file.begin() + static_cast<std::ptrdiff_t>(path_.size()) + 1, file.end(), '/') > kDeepest) {
        throw Failure(ExitCode::LimitExceeded, path_,
                      "a part lies more than " + std::to_string(kDeepest) + " folders deep");
    }
    const Descriptor folder = openParent(folder_, file, path_.size() + 1, true);
    if (folder.get() < 0) {
        throwFailure(file);
    }
    createFile(folder.get(), baseName(file), content, file, replace_);
}

}  // namespace flowbook::tool
