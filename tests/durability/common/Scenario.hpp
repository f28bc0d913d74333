#pragma once

#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/StorageSystemReference.hpp"

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace durability {

/// What a file holds; none when there is no file.
using Content = std::optional<std::vector<unsigned char>>;

/// How a save ended: Failed with the exception that is documented for what it was doing.
enum class Outcome { Saved, NotConfirmed, Failed, OutOfMemory, Undocumented };
std::ostream& operator<<(std::ostream& out, Outcome outcome);

/// One kind of save.
struct Scenario {
    const char* name;
    Content old;  ///< the file before the save
    void (*edit)(flowbook::FlowbookFileWriter& writer);

    Outcome save(const foundation::storage::vfs::StorageSystemReference& storage, const std::u16string& file) const;
};
std::ostream& operator<<(std::ostream& out, const Scenario& scenario);

const std::vector<Scenario>& scenarios();

/// All that a reader tells of a file, but for its times. @throws as the reader.
std::string tell(const foundation::storage::vfs::StorageSystemReference& storage, const std::u16string& file);

/// Judges what a disturbed save has made of its file.
class Oracle {
public:
    /// Runs the scenario undisturbed, to learn what it makes.
    explicit Oracle(const Scenario& scenario);

    bool isOld(const Content& content) const { return content == old_; }

    /// Whether the content opens and tells the same as after an undisturbed save.
    bool isNew(const Content& content) const;

    /// Whether a save that ended so may have left this.
    bool accepts(Outcome outcome, const Content& content) const;

private:
    const Content& old_;
    std::string new_;
};

}  // namespace durability
