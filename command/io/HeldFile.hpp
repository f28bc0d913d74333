#pragma once

#include "io/Input.hpp"

#include <memory>

namespace flowbook::tool {

/// A flowbook that is to be replaced by what is made of it: a change of the file between the two is found out.
class HeldFile {
public:
    /// @throws Failure, and what the storage throws.
    explicit HeldFile(const std::string& argument) : HeldFile(Input(argument, Input::Purpose::Update)) {}
    /// @param input  for Purpose::Update.
    explicit HeldFile(const Input& input)
        : input_(input), file_(input_.storage()->openForReading(input_.name())), bytes_(readAll(*file_)) {}

    const Bytes& bytes() const noexcept { return bytes_; }

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
    Bytes bytes_;
};

}  // namespace flowbook::tool
