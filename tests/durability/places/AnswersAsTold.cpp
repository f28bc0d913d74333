// A file system in user space that hands all on to a folder but for what it is told to answer otherwise:
// answers_as_told FOLDER MOUNT [rename=ERROR] [link=ERROR] [listxattr=ERROR] [getxattr=ERROR] [setxattr=ERROR]
//                              [flock=ERROR] [fsyncdir=ERROR]
// rename: of a rename with flags; flock: EBADF only where the descriptor may not write.
#define FUSE_USE_VERSION 31
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fuse.h>
#include <map>
#include <string>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

std::string folder;
std::map<std::string, int> answers;

std::string under(const char* path) { return folder + path; }

int told(const char* what) {
    const auto found = answers.find(what);
    return found == answers.end() ? 0 : -found->second;
}

int result(long done) { return done == -1 ? -errno : static_cast<int>(done); }

int handle(const fuse_file_info* file) { return static_cast<int>(file->fh); }

int getAttributes(const char* path, struct stat* to, fuse_file_info* file) {
    return result(file != nullptr ? ::fstat(handle(file), to) : ::lstat(under(path).c_str(), to));
}

int list(const char* path, void* to, fuse_fill_dir_t fill, off_t, fuse_file_info*, fuse_readdir_flags) {
    DIR* const directory = ::opendir(under(path).c_str());
    while (const dirent* entry = directory == nullptr ? nullptr : ::readdir(directory)) {
        fill(to, entry->d_name, nullptr, 0, fuse_fill_dir_flags{});
    }
    return directory == nullptr ? -errno : ::closedir(directory);
}

int openFile(const char* path, fuse_file_info* file) {
    const int descriptor = ::open(under(path).c_str(), file->flags);
    file->fh = static_cast<std::uint64_t>(descriptor);
    return descriptor == -1 ? -errno : 0;
}

int createFile(const char* path, mode_t mode, fuse_file_info* file) {
    const int descriptor = ::open(under(path).c_str(), file->flags | O_CREAT, mode);
    file->fh = static_cast<std::uint64_t>(descriptor);
    return descriptor == -1 ? -errno : 0;
}

int renameFile(const char* from, const char* to, unsigned flags) {
    if (flags != 0 && told("rename") != 0) {
        return told("rename");
    }
    return result(::renameat2(AT_FDCWD, under(from).c_str(), AT_FDCWD, under(to).c_str(), flags));
}

int lockFile(const char*, fuse_file_info* file, int operation) {
    const bool mayWrite = (file->flags & O_ACCMODE) != O_RDONLY;
    const int answer = mayWrite && told("flock") == -EBADF ? 0 : told("flock");
    return answer != 0 && operation != LOCK_UN ? answer : result(::flock(handle(file), operation));
}

template <class Call>
int unlessTold(const char* what, Call call) {
    return told(what) != 0 ? told(what) : result(call());
}

fuse_operations operations() {
    fuse_operations all{};
    all.init = [](fuse_conn_info*, fuse_config* config) -> void* {
        // Inodes are those of the folder, and names and attributes are asked for anew each time.
        config->use_ino = 1;
        config->entry_timeout = config->attr_timeout = config->negative_timeout = 0;
        return nullptr;
    };
    all.getattr = getAttributes;
    all.readdir = list;
    all.open = openFile;
    all.create = createFile;
    all.rename = renameFile;
    all.flock = lockFile;
    all.read = [](const char*, char* to, size_t count, off_t at, fuse_file_info* file) {
        return result(::pread(handle(file), to, count, at));
    };
    all.write = [](const char*, const char* from, size_t count, off_t at, fuse_file_info* file) {
        return result(::pwrite(handle(file), from, count, at));
    };
    all.release = [](const char*, fuse_file_info* file) { return ::close(handle(file)); };
    all.fsync = [](const char*, int, fuse_file_info* file) { return result(::fsync(handle(file))); };
    all.fsyncdir = [](const char*, int, fuse_file_info*) { return told("fsyncdir"); };
    all.unlink = [](const char* path) { return result(::unlink(under(path).c_str())); };
    all.mkdir = [](const char* path, mode_t mode) { return result(::mkdir(under(path).c_str(), mode)); };
    all.truncate = [](const char* path, off_t size, fuse_file_info*) {
        return result(::truncate(under(path).c_str(), size));
    };
    all.chmod = [](const char* path, mode_t mode, fuse_file_info*) {
        return result(::chmod(under(path).c_str(), mode));
    };
    all.chown = [](const char* path, uid_t user, gid_t group, fuse_file_info*) {
        return result(::lchown(under(path).c_str(), user, group));
    };
    all.utimens = [](const char* path, const timespec* times, fuse_file_info*) {
        return result(::utimensat(AT_FDCWD, under(path).c_str(), times, AT_SYMLINK_NOFOLLOW));
    };
    all.link = [](const char* from, const char* to) {
        return unlessTold("link", [=] { return ::link(under(from).c_str(), under(to).c_str()); });
    };
    all.listxattr = [](const char* path, char* names, size_t size) {
        return unlessTold("listxattr", [=] { return ::listxattr(under(path).c_str(), names, size); });
    };
    all.getxattr = [](const char* path, const char* name, char* value, size_t size) {
        return unlessTold("getxattr", [=] { return ::getxattr(under(path).c_str(), name, value, size); });
    };
    all.setxattr = [](const char* path, const char* name, const char* value, size_t size, int flags) {
        return unlessTold("setxattr", [=] { return ::setxattr(under(path).c_str(), name, value, size, flags); });
    };
    return all;
}

}  // namespace

int main(int count, char** arguments) {
    const std::map<std::string, int> errors = {{"EINVAL", EINVAL}, {"ENOSYS", ENOSYS}, {"EOPNOTSUPP", EOPNOTSUPP},
                                               {"ENOTTY", ENOTTY}, {"EPERM", EPERM},   {"EIO", EIO},
                                               {"EBADF", EBADF}};
    folder = arguments[1];
    for (int i = 3; i < count; ++i) {
        const std::string answer = arguments[i];
        answers[answer.substr(0, answer.find('='))] = errors.at(answer.substr(answer.find('=') + 1));
    }
    const char* options[] = {"answers_as_told", "-f", arguments[2]};
    const fuse_operations all = operations();
    return fuse_main(3, const_cast<char**>(options), &all, nullptr);
}
