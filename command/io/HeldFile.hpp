#pragma once

#include "io/OpenDocument.hpp"
#include "terminal/Diagnosis.hpp"
#include "terminal/Failure.hpp"

#include <memory>

namespace flowbook::tool {

/// A flowbook that is to be replaced by what is made of it: a change of the file between the two is found out.
class HeldFile {
public:
    /// @throws Failure, and what the storage throws.
    explicit HeldFile(const std::string& argument) : HeldFile(Input(argument, Input::Purpose::Update)) {}
    /// @param input  for Purpose::Update.
    explicit HeldFile(const Input& input) : input_(input), file_(input_.storage()->openForReading(input_.name())) {}

    std::uint64_t size() const { return file_->size(); }

    /// The flowbook, of which no more is read than is asked for.
    /// @throws Failure, about the file as the user named it.
    kit::Document document() const {
        try {
            return openDocument(input_);
        } catch (const std::exception&) {
            const Diagnosis diagnosis = diagnose();
            throw Failure(diagnosis.code, input_.argument(), input_.inWords(diagnosis.message), diagnosis.kind,
                          diagnosis.part);
        }
    }

    /// All that the file holds, read at the first call.
    const Bytes& bytes() const {
        if (bytes_.empty()) {
            bytes_ = readAll(*file_);
        }
        return bytes_;
    }

    bool holds(const Bytes& content) const { return size() == content.size() && bytes() == content; }

    /// Atomically and durably, or not at all. @throws what the storage throws.
    void replace(const Bytes& content) {
        const auto replacement = input_.storage()->beginReplacement(input_.name(), file_.get());
        replacement->write(content.data(), content.size());
        replacement->commit();
    }

private:
    static Bytes readAll(const foundation::storage::vfs::ReadableFile& file) {
        Bytes bytes(file.size());
        file.read(0, bytes.data(), bytes.size());
        return bytes;
    }

    Input input_;
    std::unique_ptr<foundation::storage::vfs::ReadableFile> file_;
    mutable Bytes bytes_;
};

}  // namespace flowbook::tool
