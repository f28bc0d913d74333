// Files in memory, with the same promises as files of the machine: a replacement appears at once or not at all, and
// replacing another version than the one that was opened is a conflict. Contents are shared and never change, so that a
// reader keeps its version while others replace it, and the address of the content can identify the version.
#include "foundation/storage/vfs/MemoryStorage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

namespace foundation::storage::vfs {
namespace {

[[noreturn]] void fail(StorageErrorKind kind, const char* action, const std::u16string& name, const char* reason) {
    throw StorageError(kind,
                       std::string("cannot ") + action + " \"" + fl::i18n::to_string(name) + "\" in memory: " + reason);
}

}  // namespace

/// One version of a file in memory. The address of the content identifies the version.
class MemoryFile final : public ReadableFile {
public:
    using Content = std::shared_ptr<const MemoryStorage::Bytes>;

    explicit MemoryFile(Content content) noexcept : content_(std::move(content)) {}

    std::uint64_t size() const override { return content_->size(); }

    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        if (offset > size() || count > size() - offset) {
            throw StorageError(StorageErrorKind::Other, "cannot read a file in memory at " + std::to_string(offset) +
                                                            ": the file ends before that");
        }
        std::copy_n(content_->data() + offset, count, static_cast<unsigned char*>(to));
    }

    const Content& content() const noexcept { return content_; }

private:
    Content content_;
};

/// Collects the new content and swaps it in.
class MemoryReplacement final : public Replacement {
public:
    using Content = std::shared_ptr<const MemoryStorage::Bytes>;

    /// @param replaced  what the file must still hold at the commit; null when there must be none.
    MemoryReplacement(MemoryStorage& storage, std::u16string name, Content replaced)
        : storage_(storage), name_(std::move(name)), replaced_(std::move(replaced)) {}

    void write(const void* from, std::size_t count) override {
        requirePending();
        const auto* bytes = static_cast<const unsigned char*>(from);
        content_->insert(content_->end(), bytes, bytes + count);
    }

    const ReadableFile* written() override {
        requirePending();
        written_ = std::make_unique<const MemoryFile>(content_);
        return written_.get();
    }

    void commit() override {
        requirePending();
        try {
            storage_.swapIn(name_, replaced_, content_);
        } catch (...) {
            discard();
            throw;
        }
        content_.reset();
    }

    void discard() noexcept override { content_.reset(); }

private:
    void requirePending() const {
        if (content_ == nullptr) {
            throw StorageError(StorageErrorKind::Other, "cannot write \"" + fl::i18n::to_string(name_) +
                                                            "\": its replacement is committed or discarded");
        }
    }

    MemoryStorage& storage_;
    std::u16string name_;
    Content replaced_;
    /// The new content; null after commit and discard.
    std::shared_ptr<MemoryStorage::Bytes> content_ = std::make_shared<MemoryStorage::Bytes>();
    std::unique_ptr<const ReadableFile> written_;
};

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
