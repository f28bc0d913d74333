#include "Source.hpp"

#include "foundation/storage/vfs/MemoryStorage.hpp"

namespace flowbook::python {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;

// The writer would look for a plain name among the machine's files.
const std::u16string& kName = *new std::u16string(u"python://flowbook.tqx");

StorageSystemReference Source::storage() const { return StorageSystemReference(std::make_shared<HeldStorage>(file)); }

fl::Bytes Source::bytes() const {
    fl::Bytes all(static_cast<std::size_t>(file->size()));
    file->read(0, all.data(), all.size());
    return all;
}

Source Source::ofPath(const LocalPath& path) {
    const auto local = std::make_shared<const LocalVersion>(path.utf16, path.native);
    return {local, local};
}

Source Source::ofBytes(fl::Bytes bytes) {
    MemoryStorage memory;
    memory.put(kName, std::move(bytes));
    return {memory.openForReading(kName)};
}

Source Source::ofObject(pybind11::object file) {
    const auto object = std::make_shared<const PythonFile>(std::move(file));
    return {object, {}, object};
}

}  // namespace flowbook::python
