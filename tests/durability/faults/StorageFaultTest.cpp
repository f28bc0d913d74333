#include "durability/common/Disturbance.hpp"
#include "durability/common/Place.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"

namespace durability {
namespace {

using namespace foundation::storage::vfs;

void strike(Disturbance& disturbance) {
    if (disturbance.strikes()) {
        throw StorageError(StorageErrorKind::Other, "failing on purpose");
    }
}

struct FaultyFile : ReadableFile {
    FaultyFile(std::unique_ptr<ReadableFile> file, Disturbance& by) : real(std::move(file)), disturbance(by) {}

    std::uint64_t size() const override { return real->size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        strike(disturbance);
        real->read(offset, to, count);
    }

    std::unique_ptr<ReadableFile> real;
    Disturbance& disturbance;
};

struct FaultyReplacement : Replacement {
    FaultyReplacement(std::unique_ptr<Replacement> begun, Disturbance& by) : real(std::move(begun)), disturbance(by) {}

    void write(const void* from, std::size_t count) override {
        real->write(from, count / 2);
        strike(disturbance);
        real->write(static_cast<const char*>(from) + count / 2, count - count / 2);
    }
    void commit() override {
        strike(disturbance);
        real->commit();
    }
    void discard() noexcept override { real->discard(); }

    std::unique_ptr<Replacement> real;
    Disturbance& disturbance;
};

struct FaultyStorage : MemoryStorage {
    explicit FaultyStorage(Disturbance& by) : disturbance(by) {}

    bool exists(const std::u16string& name) const override {
        strike(disturbance);
        return MemoryStorage::exists(name);
    }
    std::unique_ptr<ReadableFile> openForReading(const std::u16string& name) const override {
        strike(disturbance);
        return std::make_unique<FaultyFile>(MemoryStorage::openForReading(name), disturbance);
    }
    std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile* replaced) override {
        strike(disturbance);
        const auto* const file = dynamic_cast<const FaultyFile*>(replaced);
        auto begun = MemoryStorage::beginReplacement(name, file == nullptr ? nullptr : file->real.get());
        return std::make_unique<FaultyReplacement>(std::move(begun), disturbance);
    }

    Disturbance& disturbance;
};

class StorageFaults : public testing::TestWithParam<Scenario> {};

/// What the tests with failing system calls find too; these are for the sanitizers and for storages of one's own.
TEST_P(StorageFaults, LeaveTheOldFileAndAreReported) {
    const Oracle oracle(GetParam());
    const std::u16string name = u"mem://file.tqx";
    disturbEach([&](Disturbance& disturbance) {
        const auto storage = std::make_shared<FaultyStorage>(disturbance);
        if (GetParam().old) {
            storage->put(name, *GetParam().old);
        }
        const Outcome outcome = GetParam().save(StorageSystemReference(storage), name);
        EXPECT_EQ(outcome, disturbance.struck() ? Outcome::Failed : Outcome::Saved);
        const bool exists = storage->MemoryStorage::exists(name);
        EXPECT_TRUE(oracle.accepts(outcome, exists ? Content(storage->get(name)) : std::nullopt)) << outcome;
    });
}

INSTANTIATE_TEST_SUITE_P(Scenarios, StorageFaults, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
