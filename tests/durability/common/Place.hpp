#pragma once

#include "durability/common/Scenario.hpp"
#include "support/TempDir.hpp"

#include <memory>

namespace durability {

/// Where the file of a scenario is: in memory, or in a folder of its own.
class Place {
public:
    enum class Kind { Memory, Local };
    explicit Place(Kind kind, const std::filesystem::path& parent = {});

    /// Puts the file into the state before a save.
    void reset(const Content& old);

    foundation::storage::vfs::StorageSystemReference storage() const;
    const std::u16string& file() const noexcept { return file_; }
    const support::TempDir& folder() const { return *folder_; }  ///< of a local place only

    Content content() const;

    /// The names of all files in the folder but the scenario's.
    std::vector<std::string> leftovers() const;

private:
    std::unique_ptr<support::TempDir> folder_;
    std::shared_ptr<foundation::storage::vfs::StorageSystem> storage_;
    std::u16string file_ = u"mem://file.tqx";
};

}  // namespace durability
