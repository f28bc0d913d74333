#include "foundation/storage/vfs/MemoryStorage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/storage/vfs/MemoryFile.hpp"
#include "foundation/storage/vfs/MemoryReplacement.hpp"

#include <utility>

namespace foundation::storage::vfs {
namespace {

[[noreturn]] void fail(StorageErrorKind kind, const char* action, const std::u16string& name, const char* reason) {
    throw StorageError(kind,
                       std::string("cannot ") + action + " \"" + fl::i18n::to_string(name) + "\" in memory: " + reason);
}

}  // namespace

MemoryStorage::MemoryStorage() = default;
MemoryStorage::~MemoryStorage() = default;

MemoryStorage::Content MemoryStorage::find(const std::u16string& name) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = files_.find(name);
    return found == files_.end() ? nullptr : found->second;
}

bool MemoryStorage::exists(const std::u16string& name) const { return find(name) != nullptr; }

MemoryStorage::Content MemoryStorage::require(const std::u16string& name) const {
    Content content = find(name);
    if (content == nullptr) {
        fail(StorageErrorKind::NotFound, "open", name, "there is no such file");
    }
    return content;
}

std::unique_ptr<ReadableFile> MemoryStorage::openForReading(const std::u16string& name) const {
    return std::make_unique<MemoryFile>(require(name));
}

std::unique_ptr<Replacement> MemoryStorage::beginReplacement(const std::u16string& name, const ReadableFile* replaced) {
    const auto* file = dynamic_cast<const MemoryFile*>(replaced);
    if (replaced != nullptr && file == nullptr) {
        fail(StorageErrorKind::Other, "replace", name, "the file given for it is of another storage");
    }
    const Content expected = file == nullptr ? nullptr : file->content();
    checkUnchanged(name, find(name), expected);
    return std::make_unique<MemoryReplacement>(*this, name, expected);
}

void MemoryStorage::checkUnchanged(const std::u16string& name, const Content& present, const Content& expected) {
    if (present != expected) {
        fail(StorageErrorKind::Conflict, "replace", name,
             expected == nullptr ? "it has appeared where no file was" : "it has changed since it was opened");
    }
}

void MemoryStorage::swapIn(const std::u16string& name, const Content& expected, Content content) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = files_.find(name);
    checkUnchanged(name, found == files_.end() ? nullptr : found->second, expected);
    files_[name] = std::move(content);
}

void MemoryStorage::put(const std::u16string& name, Bytes content) {
    auto shared = std::make_shared<const Bytes>(std::move(content));
    const std::lock_guard<std::mutex> lock(mutex_);
    files_[name] = std::move(shared);
}

MemoryStorage::Bytes MemoryStorage::get(const std::u16string& name) const { return *require(name); }

}  // namespace foundation::storage::vfs
