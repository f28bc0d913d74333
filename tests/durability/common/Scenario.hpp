#pragma once

#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"

#include <optional>
#include <ostream>

namespace durability {

using Bytes = foundation::storage::vfs::MemoryStorage::Bytes;

/// What a file holds; none when there is no file.
using Content = std::optional<Bytes>;

/// How a save ended: where it failed, when with the documented exception of that place.
enum class Outcome { Saved, NotConfirmed, OpenFailed, EditFailed, CloseFailed, OutOfMemory, Undocumented };

std::ostream& operator<<(std::ostream& out, Outcome outcome);

/// One kind of save.
struct Scenario {
    const char* name;
    const Content& (*old)();  ///< the file before the save
    void (*edit)(flowbook::FlowbookFileWriter& writer);

    Outcome save(const foundation::storage::vfs::StorageSystemReference& storage, const std::u16string& file) const;
};

const std::vector<Scenario>& scenarios();

/// As many bytes as an image that no compression gets much smaller.
flowbook::FlowbookFilePackage snapshotWithImages(std::size_t imageSize);

/// All that a reader tells of a file, but for its times. @throws as the reader.
std::string describe(const foundation::storage::vfs::StorageSystemReference& storage, const std::u16string& file);

std::ostream& operator<<(std::ostream& out, const Scenario& scenario);

}  // namespace durability
