#include "files/NewFile.hpp"

#include "flowbook/FlowbookFileReader.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "inputs/GuardedStorage.hpp"
#include "terminal/Failure.hpp"
#include "terminal/Text.hpp"

namespace flowbook::tool {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;
using foundation::storage::vfs::StorageSystemReference;

namespace {

void putFile(const std::u16string& name, const Bytes& content, bool replace) {
    GuardedStorage storage;
    std::unique_ptr<ReadableFile> old;
    if (replace && storage.exists(name)) {
        old = storage.openForReading(name);
    }
    const auto replacement = storage.beginReplacement(name, old.get());
    replacement->write(content.data(), content.size());
    replacement->commit();
}

}  // namespace

Bytes makeFlowbook(const std::u16string& name, const std::function<void(FlowbookFileWriter&)>& fill) {
    const auto memory = std::make_shared<MemoryStorage>();
    const StorageSystemReference storage(memory);
    FlowbookFileWriter writer(name, storage, {});
    fill(writer);
    writer.close(false);
    const FlowbookFileReader check(name, storage);
    return memory->get(name);
}

void createFlowbook(Sink& out, const std::string& argument, bool replace,
                    const std::function<void(FlowbookFileWriter&)>& fill) {
    if (argument == "-") {
        Output::requireFitForBytes(replace);
        const Bytes content = makeFlowbook(u"standard output.tqx", fill);
        out.write(content.data(), content.size());
        return;
    }
    const std::u16string name = fromArgument(argument);
    const Bytes content = makeFlowbook(name, fill);
    try {
        putFile(name, content, replace);
    } catch (const StorageError& error) {
        const bool exists = error.kind() == StorageErrorKind::Conflict && !replace;
        throw Failure(ExitCode::InputOutput, argument, exists ? "exists already; --force replaces it" : error.what());
    }
}

}  // namespace flowbook::tool
