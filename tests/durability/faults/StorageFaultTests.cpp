#include "durability/common/Disturbance.hpp"
#include "durability/common/Place.hpp"

namespace durability {
namespace {

using namespace foundation::storage::vfs;

/// Which operation of a storage fails, and how.
struct Fault {
    Disturbance& disturbance;
    StorageErrorKind kind;
    bool half;  ///< whether a failing write passes half of its bytes on

    template <class Pass>
    void write(std::size_t count, Pass pass) {
        const bool strikes = disturbance.strikes();
        if (!strikes || half) {
            pass(strikes ? count / 2 : count);
        }
        if (strikes) {
            throw StorageError(kind, "failing on purpose");
        }
    }
    void step() {
        write(0, [](std::size_t) {});
    }
};

struct FaultyFile : ReadableFile {
    FaultyFile(std::unique_ptr<ReadableFile> file, Fault& theFault) : real(std::move(file)), fault(theFault) {}

    std::uint64_t size() const override { return real->size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        fault.step();
        real->read(offset, to, count);
    }

    std::unique_ptr<ReadableFile> real;
    Fault& fault;
};

/// Appends from files by reading and writing, each of which may fail.
struct FaultyReplacement : Replacement {
    FaultyReplacement(std::unique_ptr<Replacement> replacement, Fault& theFault)
        : real(std::move(replacement)), fault(theFault) {}

    void write(const void* from, std::size_t count) override {
        fault.write(count, [&](std::size_t part) { real->write(from, part); });
    }
    void commit() override {
        fault.step();
        real->commit();
    }
    void discard() noexcept override { real->discard(); }

    std::unique_ptr<Replacement> real;
    Fault& fault;
};

struct FaultyStorage : StorageSystem {
    FaultyStorage(StorageSystemReference storage, const Fault& theFault) : real(std::move(storage)), fault(theFault) {}

    StorageGuarantees guarantees() const noexcept override { return real->guarantees(); }
    bool exists(const std::u16string& name) const override {
        fault.step();
        return real->exists(name);
    }
    std::unique_ptr<ReadableFile> openForReading(const std::u16string& name) const override {
        fault.step();
        return std::make_unique<FaultyFile>(real->openForReading(name), fault);
    }
    std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile* replaced) override {
        fault.step();
        const auto* const file = dynamic_cast<const FaultyFile*>(replaced);
        auto begun = real->beginReplacement(name, file == nullptr ? nullptr : file->real.get());
        return std::make_unique<FaultyReplacement>(std::move(begun), fault);
    }

    StorageSystemReference real;
    mutable Fault fault;
};

class StorageFaults : public testing::TestWithParam<Scenario> {};

TEST_P(StorageFaults, LeaveTheOldFileAndAreReported) {
    const Oracle oracle(GetParam());
    const auto saveWithFault = [&](Place::Kind placeKind, StorageErrorKind kind, bool half) {
        disturbEach(half ? "half a write" : "failure", 4, [&](Disturbance& disturbance) {
            const Place place(placeKind, GetParam().old);
            const auto storage = std::make_shared<FaultyStorage>(place.storage, Fault{disturbance, kind, half});
            const Outcome outcome = GetParam().save(StorageSystemReference(storage), place.file);
            EXPECT_EQ(outcome, disturbance.struck() ? Outcome::Failed : Outcome::Saved);
            EXPECT_TRUE(oracle.accepts(outcome, place.content())) << outcome;
        });
    };
    for (const auto place : {Place::Memory, Place::Local}) {
        saveWithFault(place, StorageErrorKind::Other, false);
        saveWithFault(place, StorageErrorKind::NoSpace, false);
        saveWithFault(place, StorageErrorKind::NoSpace, true);
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, StorageFaults, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
