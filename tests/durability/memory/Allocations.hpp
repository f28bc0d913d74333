#pragma once

#include <cstddef>

namespace durability {

/// Makes an allocation of this thread fail while it lives, or all from one on, as if the memory were used up.
class FailingAllocations {
public:
    /// @param at  which allocation, counted from 0.
    FailingAllocations(std::size_t at, bool sticky);
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;
    ~FailingAllocations();

    static bool struck();  ///< the latest one, also after its end
};

/// How many allocations of this thread have not been freed.
long liveAllocations();

}  // namespace durability
