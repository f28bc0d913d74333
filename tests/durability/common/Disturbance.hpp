#pragma once

#include <cstddef>
#include <gtest/gtest.h>

namespace durability {

/// Picks one of the operations of a run, or all from one on.
struct Disturbance {
    bool sticky;
    std::size_t at = 0;     ///< counted from 0
    std::size_t count = 0;  ///< of the operations so far

    bool strikes() {
        const std::size_t operation = count++;
        return sticky ? operation >= at : operation == at;
    }
    bool struck() const { return count > at; }
};

/// Runs `attempt` with a disturbance of each operation in turn, alone and with all after it, until none is left.
template <class Attempt>
void disturbEach(Attempt attempt) {
    for (Disturbance next : {Disturbance{false}, Disturbance{true}}) {
        Disturbance latest = next;
        do {
            SCOPED_TRACE("operation " + std::to_string(next.at) + (next.sticky ? " and all after it" : ""));
            latest = next;
            attempt(latest);
            ++next.at;
        } while (latest.struck());
        EXPECT_GT(latest.at, 0U) << "no operation was disturbed";
    }
}

}  // namespace durability
