#include "durability/common/Place.hpp"

#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"

namespace durability {

using namespace foundation::storage::vfs;

namespace {

/// Thousands of saves would wait for a disk thousands of times.
std::filesystem::path memoryDisk() {
    const std::filesystem::path path = "/dev/shm";
    return std::filesystem::is_directory(path) ? path : std::filesystem::path();
}

}  // namespace

Place::Place(Kind kind, const std::filesystem::path& parent) {
    if (kind == Kind::Local) {
        folder_ = std::make_unique<support::TempDir>(parent.empty() ? memoryDisk() : parent);
        storage_ = std::make_shared<LocalStorage>();
        file_ = folder_->name("file.tqx");
    }
}

void Place::reset(const Content& old) {
    if (folder_ == nullptr) {
        const auto memory = std::make_shared<MemoryStorage>();
        if (old) {
            memory->put(file_, *old);
        }
        storage_ = memory;
        return;
    }
    std::filesystem::remove(file_);
    if (old) {
        folder_->put("file.tqx", std::string(old->begin(), old->end()));
    }
}

StorageSystemReference Place::storage() const { return StorageSystemReference(storage_); }

Content Place::content() const {
    if (!storage_->exists(file_)) {
        return std::nullopt;
    }
    const auto file = storage_->openForReading(file_);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(file->size()));
    file->read(0, bytes.data(), bytes.size());
    return bytes;
}

std::vector<std::string> Place::leftovers() const {
    std::vector<std::string> names;
    if (folder_ != nullptr) {
        for (const auto& entry : std::filesystem::directory_iterator(folder_->path())) {
            if (entry.path().u16string() != file_) {
                names.push_back(entry.path().filename());
            }
        }
    }
    return names;
}

}  // namespace durability
