#include "durability/faults/TracedSave.hpp"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/syscall.h>

namespace durability {
namespace {

using foundation::storage::vfs::StorageSystemReference;

/// Makes one system call of a save fail, or all from one on; or, without an error, transfer half of the bytes.
struct Injection {
    int error;
    bool sticky;
    std::size_t at = 0;
    std::size_t calls = 0;
    bool striking = false;
    bool keepsTemporary = false;  ///< when a removal was made to fail

    void operator()(TracedCall& call) {
        if (call.entering()) {
            striking = isCandidate(call) && strikes();
            if (striking) {
                enter(call);
            }
        } else if (striking && error != 0) {
            call.setResult(-error);
        }
    }

private:
    bool strikes() {
        const std::size_t number = calls++;
        return sticky ? number >= at : number == at;
    }
    bool isCandidate(const TracedCall& call) const {
        return error != 0 ? touchesFiles(call) : countArgument(call) != 0;
    }

    /// Of a call that transfers data, which argument the byte count is.
    static std::size_t countArgument(const TracedCall& call) {
        switch (call.number()) {
        case SYS_write:
        case SYS_pread64:
            return 2;
        case SYS_copy_file_range:
            return 4;
        default:
            return 0;
        }
    }

    void enter(TracedCall& call) {
        keepsTemporary = keepsTemporary || call.number() == SYS_unlinkat || call.number() == SYS_unlink;
        if (error == 0) {
            const std::size_t count = countArgument(call);
            call.setArgument(count, (call.argument(count) + 1) / 2);
        } else if (call.number() != SYS_close) {  // which closes also when it fails
            call.skip();
        }
    }
};

class SystemCalls : public testing::TestWithParam<Scenario> {};

/// Returns whether there was a call to make fail.
bool saveWithInjection(const Scenario& scenario, const Oracle& oracle, Place& place, Injection injection) {
    place.reset(scenario.old());
    const int ended = saveTraced(scenario, place, place.storage(), std::ref(injection));
    const auto outcome = static_cast<Outcome>(ended);
    SCOPED_TRACE("call " + std::to_string(injection.at) + ", error " + std::to_string(injection.error) +
                 (injection.sticky ? ", sticky: " : ": ") + testing::PrintToString(outcome));
    EXPECT_TRUE(oracle.accepts(outcome, place.content()));
    EXPECT_TRUE(outcome == Outcome::Saved || injection.error != 0) << "not all was written";
    EXPECT_TRUE(injection.keepsTemporary || place.leftovers().empty());
    EXPECT_TRUE(isSwept(place));
    return injection.calls > injection.at;
}

TEST_P(SystemCalls, ThatFailLeaveTheOldFileOrTheNew) {
    const Oracle oracle(GetParam());
    Place place(Place::Kind::Local);
    for (const Injection& mode :
         {Injection{EIO, false}, {EIO, true}, {ENOSPC, false}, {ENOSPC, true}, {0, false}, {0, true}}) {
        Injection injection = mode;
        while (saveWithInjection(GetParam(), oracle, place, injection)) {
            ++injection.at;
        }
        EXPECT_GT(injection.at, 0U) << "no call was disturbed";
    }
}

/// Kills a save at the entry and the exit of each of its system calls. Returns how often the file was neither old nor
/// new then, or could not be saved again, or a temporary stayed for good.
std::size_t damageByKills(const Scenario& scenario, Place& place, const StorageSystemReference& storage) {
    const Oracle oracle(scenario);
    std::size_t damages = 0;
    int ended = kKilled;
    for (std::size_t last = 0; ended == kKilled; ++last) {
        std::size_t stop = 0;
        place.reset(scenario.old());
        ended = saveTraced(scenario, place, storage, [&](const TracedCall& call) {
            if (stop++ == last) {
                call.kill();
            }
        });
        const Content content = place.content();
        const bool whole = oracle.isNew(content) || oracle.isOld(content);
        damages += whole && isSwept(place) ? 0 : 1;
    }
    EXPECT_EQ(static_cast<Outcome>(ended), Outcome::Saved);
    return damages;
}

TEST_P(SystemCalls, WithAKillInThemLeaveTheOldFileOrTheNew) {
    Place place(Place::Kind::Local);
    EXPECT_EQ(damageByKills(GetParam(), place, place.storage()), 0U);
}

TEST_P(SystemCalls, ThatOverwriteAreFoundUnsafeByKills) {
    Place place(Place::Kind::Local);
    EXPECT_GT(damageByKills(GetParam(), place, overwritingStorage()), 0U);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, SystemCalls, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
