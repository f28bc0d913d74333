#include "durability/common/Disturbance.hpp"
#include "durability/common/Place.hpp"

#include <boost/scope_exit.hpp>
#include <cerrno>
#include <sys/mount.h>

namespace durability {
namespace {

using namespace foundation::storage::vfs;

struct Fault {
    Disturbance& disturbance;
    StorageErrorKind kind;

    [[noreturn]] void fail() const { throw StorageError(kind, "failing on purpose"); }
    void step() const {
        if (disturbance.strikes()) {
            fail();
        }
    }
};

struct FaultyFile : ReadableFile {
    FaultyFile(std::unique_ptr<ReadableFile> file, Fault by) : real(std::move(file)), fault(by) {}

    std::uint64_t size() const override { return real->size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        fault.step();
        real->read(offset, to, count);
    }

    std::unique_ptr<ReadableFile> real;
    Fault fault;
};

/// Appends from files by reading and writing, each of which may fail.
struct FaultyReplacement : Replacement {
    FaultyReplacement(std::unique_ptr<Replacement> begun, Fault by) : real(std::move(begun)), fault(by) {}

    void write(const void* from, std::size_t count) override {
        if (fault.disturbance.strikes()) {
            real->write(from, count / 2);
            fault.fail();
        }
        real->write(from, count);
    }
    void commit() override {
        fault.step();
        real->commit();
    }
    void discard() noexcept override { real->discard(); }

    std::unique_ptr<Replacement> real;
    Fault fault;
};

struct FaultyStorage : StorageSystem {
    FaultyStorage(StorageSystemReference storage, Fault by) : real(std::move(storage)), fault(by) {}

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
    Fault fault;
};

class StorageFaults : public testing::TestWithParam<Scenario> {};

TEST_P(StorageFaults, LeaveTheOldFileAndAreReported) {
    const Oracle oracle(GetParam());
    const auto saveWithFaults = [&](Place::Kind placeKind, StorageErrorKind kind) {
        disturbEach([&](Disturbance& disturbance) {
            const Place place(placeKind, GetParam().old);
            const auto faulty = std::make_shared<FaultyStorage>(place.storage, Fault{disturbance, kind});
            const StorageSystemReference storage(faulty);
            const Outcome outcome = GetParam().save(storage, place.file);
            EXPECT_EQ(outcome, disturbance.struck() ? Outcome::Failed : Outcome::Saved);
            EXPECT_TRUE(oracle.accepts(outcome, place.content())) << outcome;
        });
    };
    for (const auto place : {Place::Memory, Place::Local}) {
        saveWithFaults(place, StorageErrorKind::Other);
        saveWithFaults(place, StorageErrorKind::NoSpace);
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, StorageFaults, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

TEST(FullDisk, LeavesTheOldFile) {
    const support::TempDir disk;
    if (::mount("tmpfs", disk.path().c_str(), "tmpfs", 0, "size=1m") != 0) {
        GTEST_SKIP() << "mounting a small disk is not permitted: " << std::generic_category().message(errno);
    }
    BOOST_SCOPE_EXIT_ALL(&) { ::umount2(disk.path().c_str(), MNT_DETACH); };
    const Place place(Place::Local, scenarios().back().old, disk.path());
    const auto writeMuch = [](flowbook::FlowbookFileWriter& writer) { writer.write(snapshotWithImage(5'000'000)); };
    EXPECT_EQ(place.save({"WriteMuch", {}, writeMuch}), Outcome::Failed);
    EXPECT_EQ(place.content(), scenarios().back().old);
}

}  // namespace
}  // namespace durability
