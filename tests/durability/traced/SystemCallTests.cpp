#include "durability/common/Place.hpp"
#include "durability/traced/OverwritingStorage.hpp"
#include "durability/traced/TracedCall.hpp"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/user.h>

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

    void operator()(const TracedCall& call) {
        if (call.entering) {
            const bool candidate = error != 0 ? call.touchesFiles() : countArgument(call) != 0;
            striking = candidate && strikes();
            if (striking) {
                enter(call);
            }
        } else if (striking && error != 0) {
            call.setRegister(offsetof(user_regs_struct, rax), -error);
        }
    }

private:
    bool strikes() {
        const std::size_t number = calls++;
        return sticky ? number >= at : number == at;
    }

    /// Of a call that transfers data, which argument the byte count is; else 0.
    static std::size_t countArgument(const TracedCall& call) {
        const bool isTransfer = call.number == SYS_write || call.number == SYS_pread64;
        return isTransfer ? 2 : call.number == SYS_copy_file_range ? 4 : 0;
    }

    void enter(const TracedCall& call) {
        keepsTemporary = keepsTemporary || call.number == SYS_unlinkat;
        if (error == 0) {
            const std::size_t count = countArgument(call);
            const auto half = static_cast<std::int64_t>((call.arguments[count] + 1) / 2);
            call.setRegister(count == 2 ? offsetof(user_regs_struct, rdx) : offsetof(user_regs_struct, r8), half);
        } else if (call.number != SYS_close) {  // which closes also when it fails
            call.setRegister(offsetof(user_regs_struct, orig_rax), -1);
        }
    }
};

/// Makes everything left over look old, and saves again. Returns whether that removed it.
bool isSwept(const Place& place) {
    const timespec longAgo[2]{{1, 0}, {1, 0}};
    for (const std::string& name : place.leftovers()) {
        ::utimensat(AT_FDCWD, place.folder().path(name).c_str(), longAgo, 0);
    }
    flowbook::FlowbookFileWriter(place.file(), place.storage(), {}).close(false);
    return place.leftovers().empty();
}

class SystemCalls : public testing::TestWithParam<Scenario> {
protected:
    int save(const StorageSystemReference& storage, const std::function<void(const TracedCall&)>& watch) {
        place_.reset(GetParam().old());
        return runTraced([&] { return static_cast<int>(GetParam().save(storage, place_.file())); }, watch);
    }

    /// Returns whether there was a call to make fail.
    bool saveWithInjection(Injection injection) {
        const auto outcome = static_cast<Outcome>(save(place_.storage(), std::ref(injection)));
        SCOPED_TRACE("call " + std::to_string(injection.at) + ", error " + std::to_string(injection.error) +
                     (injection.sticky ? ", sticky: " : ": ") + testing::PrintToString(outcome));
        EXPECT_TRUE(oracle_.accepts(outcome, place_.content()));
        EXPECT_TRUE(outcome == Outcome::Saved || injection.error != 0) << "not all was written";
        EXPECT_TRUE(injection.keepsTemporary || place_.leftovers().empty());
        EXPECT_TRUE(isSwept(place_));
        return injection.calls > injection.at;
    }

    /// Kills a save at the entry and the exit of each of its system calls. Returns how often the file was neither old
    /// nor new then, or could not be saved again, or a temporary stayed for good.
    std::size_t damagesByKills(const StorageSystemReference& storage) {
        std::size_t damages = 0;
        int ended = kKilled;
        for (std::size_t last = 0; ended == kKilled; ++last) {
            std::size_t stop = 0;
            ended = save(storage, [&](const TracedCall& call) {
                if (stop++ == last) {
                    ::kill(call.process, SIGKILL);
                }
            });
            const Content content = place_.content();
            const bool whole = oracle_.isNew(content) || oracle_.isOld(content);
            damages += whole && isSwept(place_) ? 0 : 1;
        }
        EXPECT_EQ(static_cast<Outcome>(ended), Outcome::Saved);
        return damages;
    }

    Oracle oracle_{GetParam()};
    Place place_{Place::Kind::Local};
};

TEST_P(SystemCalls, ThatFailLeaveTheOldFileOrTheNew) {
    for (const int error : {EIO, ENOSPC, 0}) {
        for (const bool sticky : {false, true}) {
            Injection injection{error, sticky};
            while (saveWithInjection(injection)) {
                ++injection.at;
            }
            EXPECT_GT(injection.at, 0U) << "no call was disturbed";
        }
    }
}

TEST_P(SystemCalls, WithAKillInThemLeaveTheOldFileOrTheNew) { EXPECT_EQ(damagesByKills(place_.storage()), 0U); }

TEST_P(SystemCalls, ThatOverwriteAreFoundUnsafeByKills) {
    EXPECT_GT(damagesByKills(StorageSystemReference(std::make_shared<OverwritingStorage>())), 0U);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, SystemCalls, testing::ValuesIn(scenarios()), testing::PrintToStringParamName());

}  // namespace
}  // namespace durability
