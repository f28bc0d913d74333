#include "io/GuardedStorage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "io/Interruption.hpp"

#include <unistd.h>

namespace flowbook::tool {

using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::Replacement;

namespace {

class GuardedReplacement : public Replacement {
public:
    explicit GuardedReplacement(std::unique_ptr<Replacement> inner) : inner_(std::move(inner)) {}

    void write(const void* from, std::size_t count) override {
        Interruption::check();
        inner_->write(from, count);
    }

    void append(const ReadableFile& source, std::uint64_t offset, std::uint64_t count) override {
        Interruption::check();
        inner_->append(source, offset, count);
    }

    void commit() override {
        Interruption::check();
        inner_->commit();
    }

    void discard() noexcept override { inner_->discard(); }

private:
    // Released last, when the replacement is gone.
    Interruption interruption_;
    std::unique_ptr<Replacement> inner_;
};

}  // namespace

GuardedStorage::GuardedStorage(int descriptor)
    : descriptor_(descriptor), descriptorPath_(fl::i18n::to_ustring("/proc/self/fd/" + std::to_string(descriptor))) {}

GuardedStorage::~GuardedStorage() {
    if (descriptor_ != -1) {
        ::close(descriptor_);
    }
}

std::unique_ptr<Replacement> GuardedStorage::beginReplacement(const std::u16string& name,
                                                              const ReadableFile* replaced) {
    // Held before the temporary is made.
    const Interruption interruption;
    return std::make_unique<GuardedReplacement>(local_.beginReplacement(pathOf(name), replaced));
}

}  // namespace flowbook::tool
