#include "HeldStorage.hpp"

namespace flowbook::python {

using foundation::storage::vfs::ReadableFile;

namespace {

class SharedFile : public ReadableFile {
public:
    explicit SharedFile(HeldStorage::File file) : file_(std::move(file)) {}

    std::uint64_t size() const override { return file_->size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override { file_->read(offset, to, count); }

private:
    HeldStorage::File file_;
};

}  // namespace

std::unique_ptr<ReadableFile> HeldStorage::openForReading(const std::u16string&) const {
    return std::make_unique<SharedFile>(file_);
}

}  // namespace flowbook::python
