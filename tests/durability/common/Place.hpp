#pragma once

#include "durability/common/Scenario.hpp"
#include "support/TempDir.hpp"

namespace durability {

/// Where the file of a scenario is: in memory, or in a folder of its own, by default on a disk that is memory, as
/// thousands of saves would wait for a real one thousands of times.
struct Place {
    /// The last writes over the old file, which the tests have to find unsafe.
    enum Kind { Memory, Local, Overwriting };

    Place(Kind kind, const Content& old, const std::filesystem::path& parent = "/dev/shm");
    ~Place();  ///< fails the test if anything but the file is left in the folder

    Outcome save(const Scenario& scenario) const { return scenario.save(storage, file); }
    Content content() const;

    std::vector<std::filesystem::path> leftovers() const;

    support::TempDir folder;
    foundation::storage::vfs::StorageSystemReference storage;
    std::u16string file;
};

}  // namespace durability
