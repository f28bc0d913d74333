#include "durability/common/Place.hpp"
#include "durability/memory/Allocations.hpp"

#include <gtest/gtest.h>

namespace durability {
namespace {

using foundation::storage::vfs::StorageSystemReference;

class OutOfMemory : public testing::TestWithParam<Scenario> {};

/// Runs `work` with one allocation after the other failing, until none is left to fail.
/// @param settle  called before and after each run: does the work with all memory at hand, so that what the libraries
///                keep from one work to the next is there again, and leaves the same things allocated.
/// @param check   called after each run.
template <class Settle, class Work, class Check>
void failEachAllocation(bool sticky, Settle settle, Work work, Check check) {
    const auto leaked = [&](std::size_t at) {
        settle();
        const long before = liveAllocations();
        {
            const FailingAllocations failing(at, sticky);
            work();
        }
        check();
        settle();
        return liveAllocations() - before;
    };
    std::size_t at = 0;
    do {
        SCOPED_TRACE("allocation " + std::to_string(at) + (sticky ? " and all after it" : ""));
        // What replaces a thing that was kept may be of another size, but not time after time.
        EXPECT_TRUE(leaked(at) == 0 || leaked(at) == 0) << "not all memory was freed";
        ++at;
    } while (FailingAllocations::struck());
    EXPECT_GT(at, 100U) << "hardly any allocation was made to fail";
}

TEST_P(OutOfMemory, WhileSavingLeavesTheOldFileOrTheNew) {
    const Oracle oracle(GetParam());
    for (const auto kind : {Place::Kind::Memory, Place::Kind::Local}) {
        for (const bool sticky : {false, true}) {
            Place place(kind);
            Outcome outcome{};
            const auto settle = [&] {
                place.reset(GetParam().old());
                GetParam().save(place.storage(), place.file());
                place.reset(GetParam().old());
            };
            failEachAllocation(
                sticky, settle, [&] { outcome = GetParam().save(place.storage(), place.file()); },
                [&] {
                    EXPECT_TRUE(outcome == Outcome::Saved || outcome == Outcome::OutOfMemory) << outcome;
                    EXPECT_TRUE(oracle.accepts(outcome, place.content())) << outcome;
                    EXPECT_EQ(place.leftovers(), std::vector<std::string>());
                });
        }
    }
}

constexpr char kOutOfMemory[] = "out of memory";

/// What a reader tells, or the failure.
std::string told(const Place& place) {
    try {
        return tell(place.storage(), place.file());
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

TEST_P(OutOfMemory, WhileReadingIsReported) {
    for (const auto kind : {Place::Kind::Memory, Place::Kind::Local}) {
        Place place(kind);
        place.reset(GetParam().old());
        GetParam().save(place.storage(), place.file());
        const auto expected = tell(place.storage(), place.file());
        std::string found;
        const auto check = [&] {
            if (found != kOutOfMemory) {
                EXPECT_EQ(found, expected);
            }
        };
        for (const bool sticky : {false, true}) {
            failEachAllocation(
                sticky, [&] { found = told(place); }, [&] { found = told(place); }, check);
        }
    }
}

// Without the large file, as each runs a thousand times.
INSTANTIATE_TEST_SUITE_P(Scenarios, OutOfMemory, testing::ValuesIn(scenarios().begin(), scenarios().end() - 1),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
