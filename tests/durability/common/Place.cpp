#include "durability/common/Place.hpp"

#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

namespace durability {

using namespace foundation::storage::vfs;

namespace {

struct OverwritingReplacement : Replacement {
    explicit OverwritingReplacement(const std::u16string& name) : path(name) {}

    void write(const void* from, std::size_t count) override { content.append(static_cast<const char*>(from), count); }
    void commit() override { std::ofstream(path, std::ios::binary) << content; }
    void discard() noexcept override { content.clear(); }

    std::filesystem::path path;
    std::string content;
};

struct OverwritingStorage : LocalStorage {
    std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile*) override {
        return std::make_unique<OverwritingReplacement>(name);
    }
};

std::shared_ptr<StorageSystem> storageOf(Place::Kind kind) {
    if (kind == Place::Memory) {
        return std::make_shared<MemoryStorage>();
    }
    return kind == Place::Local ? std::make_shared<LocalStorage>() : std::make_shared<OverwritingStorage>();
}

}  // namespace

Place::Place(Kind kind, const Content& old, const std::filesystem::path& parent)
    : folder(parent), storage(storageOf(kind)), file(kind == Memory ? u"mem://file.tqx" : folder.name("file.tqx")) {
    if (old) {
        const auto creation = storage->beginReplacement(file, nullptr);
        creation->write(old->data(), old->size());
        creation->commit();
    }
}

Place::~Place() { EXPECT_EQ(leftovers().size(), 0U) << leftovers().front() << " is left"; }

Content Place::content() const {
    if (!storage->exists(file)) {
        return std::nullopt;
    }
    const auto opened = storage->openForReading(file);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(opened->size()));
    opened->read(0, bytes.data(), bytes.size());
    return bytes;
}

std::vector<std::filesystem::path> Place::leftovers() const {
    const std::filesystem::directory_iterator entries(folder.path());
    std::vector<std::filesystem::path> paths(begin(entries), end(entries));
    paths.erase(std::remove(paths.begin(), paths.end(), file), paths.end());
    return paths;
}

}  // namespace durability
