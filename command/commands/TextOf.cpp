#include "commands/TextOf.hpp"

#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "io/Input.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/compare/TextForm.hpp"
#include "opc/Limits.hpp"
#include "terminal/Output.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

std::string textOf(const std::string& argument, bool outputs) {
    const std::u16string name = u"flowbook";
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(name, readBytes(argument, opc::Limits().maxPackageSize));
    std::string text = kit::textForm(name, foundation::storage::vfs::StorageSystemReference(memory), outputs);
    if (text.rfind("[damaged: ", 0) == 0 || text.find("\n[damaged: ") != std::string::npos) {
        // The reasons may be the same where the bytes are not.
        const Bytes& bytes = memory->get(name);
        text += "[the file: " + std::to_string(bytes.size()) + " bytes, sha256 " + kit::sha256(bytes) + "]\n";
    }
    return Output::isTerminal() ? printableLines(text) : text;
}

}  // namespace flowbook::tool
