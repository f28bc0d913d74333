#include "foundation/storage/vfs/MemoryReplacement.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/storage/vfs/StorageError.hpp"

#include <utility>

namespace foundation::storage::vfs {

MemoryReplacement::MemoryReplacement(MemoryStorage& storage, std::u16string name, MemoryFile::Content replaced)
    : storage_(storage),
      name_(std::move(name)),
      replaced_(std::move(replaced)),
      content_(std::make_shared<MemoryStorage::Bytes>()) {}

void MemoryReplacement::requirePending() const {
    if (content_ == nullptr) {
        throw StorageError(StorageErrorKind::Other, "cannot write \"" + fl::i18n::to_string(name_) +
                                                        "\": its replacement is committed or discarded");
    }
}

void MemoryReplacement::write(const void* from, std::size_t count) {
    requirePending();
    const auto* bytes = static_cast<const unsigned char*>(from);
    content_->insert(content_->end(), bytes, bytes + count);
}

void MemoryReplacement::commit() {
    requirePending();
    try {
        storage_.swapIn(name_, replaced_, content_);
    } catch (...) {
        discard();
        throw;
    }
    content_.reset();
}

void MemoryReplacement::discard() noexcept { content_.reset(); }

}  // namespace foundation::storage::vfs
