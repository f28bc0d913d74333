#pragma once

#include "foundation/storage/vfs/LocalStorage.hpp"

#include <filesystem>
#include <fstream>

namespace durability {

/// Replaces files by writing over them, which the tests have to find unsafe.
class OverwritingStorage : public foundation::storage::vfs::LocalStorage {
public:
    std::unique_ptr<foundation::storage::vfs::Replacement>
    beginReplacement(const std::u16string& name, const foundation::storage::vfs::ReadableFile*) override {
        return std::make_unique<Overwriting>(name);
    }

private:
    struct Overwriting : foundation::storage::vfs::Replacement {
        explicit Overwriting(const std::u16string& name) : path(name) {}

        void write(const void* from, std::size_t count) override {
            content.append(static_cast<const char*>(from), count);
        }
        void commit() override { std::ofstream(path, std::ios::binary) << content; }
        void discard() noexcept override { content.clear(); }

        std::filesystem::path path;
        std::string content;
    };
};

}  // namespace durability
