#include "durability/common/Place.hpp"

#include <gtest/gtest.h>

namespace durability {
namespace {

using namespace foundation::storage::vfs;

/// Which operation of a storage fails, and how.
struct Fault {
    StorageErrorKind kind;
    bool half;    ///< whether a failing write passes half of its bytes on
    bool sticky;  ///< whether all later operations fail too
    std::size_t at = 0;
    std::size_t operations = 0;

    bool strikes() {
        const std::size_t operation = operations++;
        return sticky ? operation >= at : operation == at;
    }
    [[noreturn]] void fail() const { throw StorageError(kind, "failing on purpose"); }
    void step() {
        if (strikes()) {
            fail();
        }
    }
};

class FaultyFile : public ReadableFile {
public:
    FaultyFile(std::unique_ptr<ReadableFile> real, Fault& fault) : real_(std::move(real)), fault_(fault) {}

    std::uint64_t size() const override { return real_->size(); }
    void read(std::uint64_t offset, void* to, std::size_t count) const override {
        fault_.step();
        real_->read(offset, to, count);
    }
    static const ReadableFile* unwrap(const ReadableFile* file) {
        return file == nullptr ? nullptr : dynamic_cast<const FaultyFile&>(*file).real_.get();
    }

private:
    std::unique_ptr<ReadableFile> real_;
    Fault& fault_;
};

class FaultyReplacement : public Replacement {
public:
    FaultyReplacement(std::unique_ptr<Replacement> real, Fault& fault) : real_(std::move(real)), fault_(fault) {}

    void write(const void* from, std::size_t count) override {
        passOn(count, [&](std::size_t part) { real_->write(from, part); });
    }
    void append(const ReadableFile& source, std::uint64_t offset, std::uint64_t count) override {
        passOn(count, [&](std::uint64_t part) { real_->append(*FaultyFile::unwrap(&source), offset, part); });
    }
    void commit() override {
        fault_.step();
        real_->commit();
    }
    void discard() noexcept override { real_->discard(); }

private:
    template <class Count, class Pass>
    void passOn(Count count, Pass pass) {
        const bool strikes = fault_.strikes();
        if (!strikes || fault_.half) {
            pass(strikes ? count / 2 : count);
        }
        if (strikes) {
            fault_.fail();
        }
    }

    std::unique_ptr<Replacement> real_;
    Fault& fault_;
};

class FaultyStorage : public StorageSystem {
public:
    FaultyStorage(StorageSystemReference real, const Fault& fault) : real_(std::move(real)), fault_(fault) {}

    bool struck() const { return fault_.operations > fault_.at; }

    StorageGuarantees guarantees() const noexcept override { return real_->guarantees(); }
    bool exists(const std::u16string& name) const override {
        fault_.step();
        return real_->exists(name);
    }
    std::unique_ptr<ReadableFile> openForReading(const std::u16string& name) const override {
        fault_.step();
        return std::make_unique<FaultyFile>(real_->openForReading(name), fault_);
    }
    std::unique_ptr<Replacement> beginReplacement(const std::u16string& name, const ReadableFile* replaced) override {
        fault_.step();
        auto real = real_->beginReplacement(name, FaultyFile::unwrap(replaced));
        return std::make_unique<FaultyReplacement>(std::move(real), fault_);
    }

private:
    StorageSystemReference real_;
    mutable Fault fault_;
};

class StorageFaults : public testing::TestWithParam<Scenario> {};

/// Returns whether the fault struck.
bool saveWithFault(const Scenario& scenario, const Oracle& oracle, Place& place, const Fault& fault) {
    place.reset(scenario.old());
    const auto storage = std::make_shared<FaultyStorage>(place.storage(), fault);
    const Outcome outcome = scenario.save(StorageSystemReference(storage), place.file());
    EXPECT_EQ(outcome == Outcome::Saved, !storage->struck()) << "operation " << fault.at << ": " << outcome;
    EXPECT_TRUE(oracle.accepts(outcome, place.content())) << "operation " << fault.at << ": " << outcome;
    EXPECT_EQ(place.leftovers(), std::vector<std::string>()) << "operation " << fault.at;
    return storage->struck();
}

TEST_P(StorageFaults, LeaveTheOldFileAndAreReported) {
    const Oracle oracle(GetParam());
    for (const auto kind : {Place::Kind::Memory, Place::Kind::Local}) {
        Place place(kind);
        for (const Fault& mode : {Fault{StorageErrorKind::Other, false, false},
                                  {StorageErrorKind::Other, false, true},
                                  {StorageErrorKind::NoSpace, false, false},
                                  {StorageErrorKind::NoSpace, true, false},
                                  {StorageErrorKind::NoSpace, true, true}}) {
            Fault fault = mode;
            while (saveWithFault(GetParam(), oracle, place, fault)) {
                ++fault.at;
            }
            EXPECT_GT(fault.at, 3U) << "hardly any operation was made to fail";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, StorageFaults, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
