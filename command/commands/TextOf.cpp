#include "commands/TextOf.hpp"

#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "io/Input.hpp"
#include "kit/compare/TextForm.hpp"
#include "opc/Limits.hpp"

namespace flowbook::tool {

std::string textOf(const std::string& argument, bool outputs) {
    const std::u16string name = u"flowbook";
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(name, readBytes(argument, opc::Limits().maxPackageSize));
    return kit::textForm(name, foundation::storage::vfs::StorageSystemReference(memory), outputs);
}

}  // namespace flowbook::tool
