// The text form of a file for diff and git. A damaged file has one too, so that `git diff` and `git log -p` show it and
// go on.
#include "commands/TextOf.hpp"

#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "io/Input.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/compare/TextForm.hpp"
#include "kit/document/Document.hpp"
#include "opc/Limits.hpp"
#include "terminal/Output.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

namespace {

using foundation::storage::vfs::StorageSystemReference;

bool isOverLimit(const std::u16string& name, const StorageSystemReference& storage) {
    try {
        kit::Document(name, storage).richText();
    } catch (const opc::Exception& failure) {
        return failure.kind() == opc::ErrorKind::LimitExceeded;
    }
    return false;
}

}  // namespace

std::string textOf(const std::string& argument, bool outputs, ExitCode* code) {
    const std::u16string name = u"flowbook";
    const auto memory = std::make_shared<foundation::storage::vfs::MemoryStorage>();
    memory->put(name, readBytes(argument, opc::Limits().maxPackageSize));
    std::string text = kit::textForm(name, StorageSystemReference(memory), outputs);
    if (text.rfind("[damaged: ", 0) == 0 || text.find("\n[damaged: ") != std::string::npos) {
        // The reasons may be the same where the bytes are not.
        const Bytes& bytes = memory->get(name);
        if (code != nullptr && isOverLimit(name, StorageSystemReference(memory))) {
            *code = ExitCode::LimitExceeded;
        }
        text += "[the file: " + std::to_string(bytes.size()) + " bytes, sha256 " + kit::sha256(bytes) + "]\n";
    }
    return Output::isTerminal() ? printableLines(text) : text;
}

}  // namespace flowbook::tool
