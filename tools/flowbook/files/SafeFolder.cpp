#include "files/SafeFolder.hpp"

#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace flowbook::tool {

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
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

bool writeAll(Descriptor& file, const Bytes& content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = ::write(file.get(), content.data() + done, content.size() - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return file.close();
}

/// Creates the file anew rather than writing over it: what else links to an old one stays as it is.
void createFile(int folder, const std::string& name, const Bytes& content, const std::string& file, bool replace) {
    if (replace && ::unlinkat(folder, name.c_str(), 0) != 0 && errno != ENOENT) {
        throwFailure(file);
    }
    Descriptor created(::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (created.get() < 0) {
        throwFailure(file);
    }
    if (!writeAll(created, content)) {
        const int error = errno;
        ::unlinkat(folder, name.c_str(), 0);
        errno = error;
        throwFailure(file);
    }
}

int openFolder(int parent, const std::string& name, const std::string& file) {
    if (::mkdirat(parent, name.c_str(), 0777) != 0 && errno != EEXIST) {
        throwFailure(file);
    }
    const int folder = ::openat(parent, name.c_str(), kFolderFlags | O_NOFOLLOW);
    if (folder < 0) {
        throwFailure(file);
    }
    return folder;
}

void checkComponent(const std::string& name, const std::string& file) {
    if (name.empty() || name == "." || name == ".." || name.find('\0') != std::string::npos) {
        throw Failure(ExitCode::Damaged, file, "this name could lead out of the folder");
    }
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

SafeFolder::~SafeFolder() { ::close(folder_); }

void SafeFolder::write(const std::string& name, const Bytes& content) {
    const std::string file = path_ + "/" + name.substr(startsWith(name, "/") ? 1 : 0);
    if (!written_.insert(file).second) {
        throw Failure(ExitCode::Damaged, file, "two parts would become this file");
    }
    Descriptor folder(-1);
    int parent = folder_;
    std::size_t start = path_.size() + 1;
    for (std::size_t slash = file.find('/', start); slash != std::string::npos; slash = file.find('/', start)) {
        const std::string component = file.substr(start, slash - start);
        checkComponent(component, file);
        folder = Descriptor(openFolder(parent, component, file));
        parent = folder.get();
        start = slash + 1;
    }
    checkComponent(file.substr(start), file);
    createFile(parent, file.substr(start), content, file, replace_);
}

}  // namespace flowbook::tool
