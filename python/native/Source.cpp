#include "Source.hpp"

#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"

namespace flowbook::python {

using foundation::storage::vfs::LocalStorage;
using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;

// The writer would look for a plain name among the machine's files.
const std::u16string kName = u"python://flowbook.tqx";

StorageSystemReference Source::storage() const { return StorageSystemReference(std::make_shared<HeldStorage>(file)); }

Source Source::ofPath(const std::u16string& path) {
    const LocalStorage local;
    const std::u16string anchored = local.anchored(path);
    return {local.openForReading(anchored), anchored};
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
