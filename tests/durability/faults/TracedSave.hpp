#pragma once

#include "durability/common/Oracle.hpp"
#include "durability/common/Place.hpp"
#include "durability/faults/TracedProcess.hpp"

namespace durability {

/// Runs a scenario in a child process, and calls `watch` at each of its system calls.
/// @returns its Outcome as an int, or kKilled.
int saveTraced(const Scenario& scenario, const Place& place,
               const foundation::storage::vfs::StorageSystemReference& storage,
               const std::function<void(TracedCall&)>& watch);

/// Replaces files by writing over them, which the tests have to find unsafe.
foundation::storage::vfs::StorageSystemReference overwritingStorage();

/// Makes everything left over look old, and saves again. Returns whether that removed it.
bool isSwept(const Place& place);

/// False for the calls that manage memory, signals and the process.
bool touchesFiles(const TracedCall& call);

}  // namespace durability
