#include "HeldStorage.hpp"

#include "Call.hpp"

namespace flowbook::python {

using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::Replacement;

namespace {

void refuseIfLeft() {
    if (const Call* call = Call::current()) {
        call->refuseIfLeft();
    }
}

class SharedFile : public ReadableFile {
public:
    explicit SharedFile(HeldStorage::File file) : file_(std::move(file)) {}

    std::uint64_t size() const override { return file_->size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        refuseIfLeft();
        file_->read(offset, to, count);
    }

private:
    HeldStorage::File file_;
};

class InterruptibleReplacement : public Replacement {
public:
    explicit InterruptibleReplacement(std::unique_ptr<Replacement> replacement)
        : replacement_(std::move(replacement)) {}

    void write(const void* from, std::size_t count) override {
        refuseIfLeft();
        replacement_->write(from, count);
    }
    const ReadableFile* written() override { return replacement_->written(); }
    void askWhenTouched(std::function<bool()> isUnchanged) override {
        replacement_->askWhenTouched(std::move(isUnchanged));
    }
    void commit() override {
        refuseIfLeft();
        replacement_->commit();
    }
    void discard() noexcept override { replacement_->discard(); }

private:
    std::unique_ptr<Replacement> replacement_;
};

}  // namespace

std::unique_ptr<ReadableFile> HeldStorage::openForReading(const std::u16string&) const {
    return std::make_unique<SharedFile>(file_);
}

std::unique_ptr<Replacement> HeldStorage::beginReplacement(const std::u16string&, const ReadableFile*) {
    return std::make_unique<InterruptibleReplacement>(sink_());
}

}  // namespace flowbook::python
