#pragma once

#include <functional>
#include <string>

/// A benchmark case is one piece of work done twice in one run: by the library, and by a floor, the
/// least that the work could cost on this machine. What counts is the ratio of the two.
namespace bench {

using Work = std::function<void()>;

/// Prepares the work, untimed; called when the case is about to run.
using MakeWork = std::function<Work()>;

/// @param goal  the ratio to stay below.
void addCase(const std::string& name, double goal, MakeWork floor, MakeWork library);

void addReadCases();
void addSaveCases();
void addSnapshotCases();
void addTextCases();

/// Runs reads and writes in processes of their own and prints the most memory that each needed.
void printPeakMemory();

}  // namespace bench
