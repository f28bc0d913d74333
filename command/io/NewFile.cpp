// Writes files that did not exist, or that the user allows to be replaced. A flowbook is made whole in memory and read
// once more before anything is written, so that a fault leaves no half of a file.
#include "io/NewFile.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "io/GuardedStorage.hpp"
#include "io/HeldFile.hpp"
#include "io/SafeFolder.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

#include <unistd.h>

namespace flowbook::tool {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;
using foundation::storage::vfs::StorageSystemReference;

namespace {

void replaceFile(const std::u16string& name, const Bytes& content, bool replace) {
    GuardedStorage storage;
    std::unique_ptr<ReadableFile> old;
    if (replace && storage.exists(name)) {
        // What is replaced is the file that is there now. One that takes its name meanwhile is not overwritten.
        old = storage.openForReading(name);
    }
    const auto replacement = storage.beginReplacement(name, old.get());
    replacement->write(content.data(), content.size());
    replacement->commit();
}

/// A file whose name is no UTF-8, which storages do not know.
void putByBytes(const std::string& argument, const Bytes& content, bool replace) {
    if (replace && ::access(argument.c_str(), F_OK) == 0) {
        HeldFile(argument).replace(content);
        return;
    }
    const std::size_t name = argument.rfind('/') + 1;  // 0 where there is no folder
    SafeFolder folder(name == 0 ? "." : argument.substr(0, name));
    folder.write(argument.substr(name), content);
    folder.sync();
}

}  // namespace

Bytes makeFlowbook(const std::u16string& name, const std::function<void(FlowbookFileWriter&)>& fill) {
    const auto memory = std::make_shared<MemoryStorage>();
    const StorageSystemReference storage(memory);
    FlowbookFileWriter writer(name, storage, {});
    fill(writer);
    writer.close(false);
    // What cannot be read again must not be written.
    const FlowbookFileReader check(name, storage);
    return memory->get(name);
}

Bytes changeFlowbook(Bytes flowbook, const std::function<void(opc::model::Package&)>& change) {
    const std::u16string name = u"memory://flowbook.tqx";
    const auto memory = std::make_shared<MemoryStorage>();
    memory->put(name, std::move(flowbook));
    opc::zippackage::ZipPhysicalPackage container(name, opc::FileSystemOpsSelector(StorageSystemReference(memory)),
                                                  true);
    opc::model::Package package(container);
    package.open(opc::interfaces::OpenMode::Update);
    change(package);
    package.close();
    return memory->get(name);
}

void putFile(Sink& out, const std::string& argument, const Bytes& content, const Permission& permission) {
    if (argument == "-") {
        Output::requireFitForBytes(permission.binary);
        out.write(content.data(), content.size());
        return;
    }
    try {
        if (kit::isUtf8(argument)) {
            replaceFile(fromArgument(argument), content, permission.force);
        } else {
            putByBytes(argument, content, permission.force);
        }
    } catch (const StorageError& error) {
        // Without --force no file may have the name, so a conflict means that one has it.
        const bool exists = error.kind() == StorageErrorKind::Conflict && !permission.force;
        throw Failure(ExitCode::InputOutput, argument, exists ? "exists already; --force replaces it" : error.what());
    }
}

std::u16string nameOfFlowbook(const std::string& argument) {
    return argument == "-" ? u"standard output.tqx" : fl::i18n::to_ustring(argument);
}

void createFlowbook(Sink& out, const std::string& argument, const Permission& permission,
                    const std::function<void(FlowbookFileWriter&)>& fill) {
    putFile(out, argument, makeFlowbook(nameOfFlowbook(argument), fill), permission);
}

}  // namespace flowbook::tool
