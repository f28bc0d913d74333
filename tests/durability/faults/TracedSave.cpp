#include "durability/faults/TracedSave.hpp"

#include "foundation/storage/vfs/LocalStorage.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace durability {

using namespace foundation::storage::vfs;

namespace {

class OverwritingReplacement : public Replacement {
public:
    explicit OverwritingReplacement(const std::u16string& name) : path_(name) {}

    void write(const void* from, std::size_t count) override { content_.append(static_cast<const char*>(from), count); }
    void commit() override {
        const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
        const bool written = ::write(file, content_.data(), content_.size()) != -1 && ::fsync(file) == 0;
        ::close(file);
        if (!written) {
            throw StorageError(StorageErrorKind::Other, "cannot overwrite");
        }
    }
    void discard() noexcept override { content_.clear(); }

private:
    std::filesystem::path path_;
    std::string content_;
};

class OverwritingStorage : public LocalStorage {
public:
    std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile*) override {
        return std::make_unique<OverwritingReplacement>(name);
    }
};

}  // namespace

StorageSystemReference overwritingStorage() { return StorageSystemReference(std::make_shared<OverwritingStorage>()); }

int saveTraced(const Scenario& scenario, const Place& place, const StorageSystemReference& storage,
               const std::function<void(TracedCall&)>& watch) {
    return runTraced([&] { return static_cast<int>(scenario.save(storage, place.file())); }, watch);
}

bool isSwept(const Place& place) {
    const timespec longAgo[2]{{1, 0}, {1, 0}};
    for (const std::string& name : place.leftovers()) {
        ::utimensat(AT_FDCWD, place.folder().path(name).c_str(), longAgo, 0);
    }
    flowbook::FlowbookFileWriter(place.file(), place.storage(), {}).close(false);
    return place.leftovers().empty();
}

bool touchesFiles(const TracedCall& call) {
    switch (call.number()) {
    case SYS_brk:
    case SYS_clock_gettime:
    case SYS_exit_group:
    case SYS_futex:
    case SYS_getrandom:  // never fails on a running system; the C library ends the process if it does
    case SYS_getpid:
    case SYS_gettid:
    case SYS_madvise:
    case SYS_mmap:
    case SYS_mprotect:
    case SYS_mremap:
    case SYS_munmap:
    case SYS_rt_sigprocmask:
    case SYS_tgkill:
        return false;
    default:
        return true;
    }
}

}  // namespace durability
