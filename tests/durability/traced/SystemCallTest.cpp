#include "durability/common/Disturbance.hpp"
#include "durability/traced/TracedCall.hpp"

#include <cerrno>
#include <csignal>
#include <sys/syscall.h>

namespace durability {
namespace {

/// The byte count of a call that transfers data; else null.
unsigned long long* countOf(TracedCall& call) {
    auto& registers = call.registers;
    const bool isTransfer = registers.orig_rax == SYS_write || registers.orig_rax == SYS_pread64;
    return isTransfer ? &registers.rdx : registers.orig_rax == SYS_copy_file_range ? &registers.r8 : nullptr;
}

/// Makes system calls of a save fail; or, without an error, transfer half of the bytes.
struct Injection {
    int error;
    Disturbance& disturbance;
    bool striking = false;
    bool keepsTemporary = false;  ///< when a removal, or what has to come before one, was made to fail

    void operator()(TracedCall& call) {
        if (call.entering) {
            const bool candidate = error != 0 ? call.touchesFiles() : countOf(call) != nullptr;
            striking = candidate && disturbance.strikes();
            if (striking) {
                enter(call);
            }
        } else if (striking && error != 0) {
            call.registers.rax = static_cast<unsigned long long>(-error);
        }
    }

    void enter(TracedCall& call) {
        const auto number = call.registers.orig_rax;
        keepsTemporary = keepsTemporary || number == SYS_unlinkat || number == SYS_renameat2;
        if (error == 0) {
            *countOf(call) = (*countOf(call) + 1) / 2;
        } else if (call.registers.orig_rax != SYS_close) {  // which closes also when it fails
            call.registers.orig_rax = static_cast<unsigned long long>(-1);
        }
    }
};

/// Makes everything left over look old, and saves beside it in a folder that this process has not swept yet, which is
/// to remove it.
void sweep(const Place& place) {
    const Place other(Place::Local, std::nullopt);
    for (const auto& path : place.leftovers()) {
        last_write_time(path, std::filesystem::file_time_type::clock::now() - std::chrono::hours(2));
        rename(path, other.folder.path() / path.filename());
    }
    flowbook::FlowbookFileWriter(other.file, other.storage, {}).close(false);
    EXPECT_NE(other.content(), std::nullopt);
}

/// Kills a save at the entry and the exit of each of its system calls. Returns how often the file was neither old nor
/// new then.
std::size_t damagesByKills(const Scenario& scenario, Place::Kind kind) {
    const Oracle oracle(scenario);
    std::size_t damages = 0;
    Outcome ended = kKilled;
    for (std::size_t last = 0; ended == kKilled; ++last) {
        const Place place(kind, scenario.old);
        std::size_t stop = 0;
        ended = saveTraced(scenario, place, [&](const TracedCall& call) {
            if (stop++ == last) {
                ::kill(call.process, SIGKILL);
            }
        });
        const Content content = place.content();
        if (oracle.isOld(content) || oracle.isNew(content)) {
            sweep(place);
        } else {
            ++damages;
        }
    }
    EXPECT_EQ(ended, Outcome::Saved);
    return damages;
}

class SystemCalls : public testing::TestWithParam<Scenario> {};

TEST_P(SystemCalls, ThatFailLeaveTheOldFileOrTheNew) {
    const Oracle oracle(GetParam());
    for (const int error : {EIO, ENOSPC, 0}) {
        SCOPED_TRACE(error);
        disturbEach([&](Disturbance& disturbance) {
            const Place place(Place::Local, GetParam().old);
            Injection injection{error, disturbance};
            const Outcome outcome = saveTraced(GetParam(), place, std::ref(injection));
            EXPECT_TRUE(oracle.accepts(outcome, place.content())) << outcome;
            EXPECT_TRUE(outcome == Outcome::Saved || error != 0) << "not all was written: " << outcome;
            EXPECT_TRUE(injection.keepsTemporary || place.leftovers().empty());
            sweep(place);
        });
    }
}

TEST_P(SystemCalls, WithAKillInThemLeaveTheOldFileOrTheNew) { EXPECT_EQ(damagesByKills(GetParam(), Place::Local), 0U); }

TEST(SystemCallsOnPurpose, ThatOverwriteAreFoundUnsafeByKills) {
    EXPECT_GT(damagesByKills(scenarios().front(), Place::Overwriting), 0U);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, SystemCalls, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
