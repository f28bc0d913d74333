// The storage of what the command changes. A replacement holds signals back until its temporary file is gone or has
// taken its name: otherwise Ctrl-C would leave temporaries beside the user's files.
#include "io/GuardedStorage.hpp"

#include "fl/i18n/Conversion.hpp"
#include "foundation/storage/vfs/StorageError.hpp"
#include "io/Interruption.hpp"

#include <filesystem>
#include <unistd.h>

namespace flowbook::tool {

using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::Replacement;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;

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

    const ReadableFile* written() override { return inner_->written(); }

    void askWhenTouched(std::function<bool()> isUnchanged) override { inner_->askWhenTouched(std::move(isUnchanged)); }

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

GuardedStorage::GuardedStorage(int descriptor, std::string path)
    : descriptor_(descriptor),
      path_(std::move(path)),
      descriptorPath_(fl::i18n::to_ustring("/proc/self/fd/" + std::to_string(descriptor))) {}

GuardedStorage::~GuardedStorage() {
    if (descriptor_ != -1) {
        ::close(descriptor_);
    }
}

/// The system knows where a descriptor's file is by now, which after a rename is not where the user named it.
void GuardedStorage::requirePathStillLeadsHere() const {
    std::error_code gone;
    const std::filesystem::path named = std::filesystem::canonical(path_, gone);
    const std::filesystem::path opened =
        gone ? named : std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor_), gone);
    if (gone || named != opened) {
        throw StorageError(StorageErrorKind::Conflict, fl::i18n::to_string(descriptorPath_) +
                                                           ": the name no longer leads to the file that was opened");
    }
}

std::unique_ptr<Replacement> GuardedStorage::beginReplacement(const std::u16string& name,
                                                              const ReadableFile* replaced) {
    // Held before the temporary is made.
    const Interruption interruption;
    if (!descriptorPath_.empty()) {
        requirePathStillLeadsHere();
    }
    return std::make_unique<GuardedReplacement>(local_.beginReplacement(pathOf(name), replaced));
}

}  // namespace flowbook::tool
