#include "Change.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/document/AddPicture.hpp"
#include "kit/document/RichCodePart.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"

namespace flowbook::python {

using foundation::storage::vfs::LocalStorage;
using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::ReadableFile;
using foundation::storage::vfs::StorageSystemReference;
using opc::pxservices::CoreProperties;
using opc::pxservices::CorePropertiesManager;

namespace {

StorageSystemReference writable(const Source& source, const HeldStorage::Sink& sink) {
    return StorageSystemReference(std::make_shared<HeldStorage>(source.file, sink));
}

/// @param target  a writer or core properties.
template <class Target>
void setProperties(const Change& change, Target& target) {
    if (change.title) {
        target.setTitle(fl::i18n::to_ustring(*change.title));
    }
    if (change.description) {
        target.setDescription(fl::i18n::to_ustring(*change.description));
    }
    if (change.version) {
        target.setVersion(fl::i18n::to_ustring(*change.version));
    }
}

bool hasCode(const Change& change) { return change.code || change.encrypted; }

bool needsPackage(const Change& change) { return change.rich || !change.pictures.empty(); }

void setCode(const Change& change, FlowbookFileWriter& writer) {
    if (change.code) {
        writer.setTARMICCode(fl::i18n::to_ustring(*change.code));
    }
    if (change.encrypted) {
        const fl::Bytes bytes(change.encrypted->begin(), change.encrypted->end());
        opc::ByteArrayInAdaptor stream(bytes);
        writer.setEncryptedRichTARMICCode(stream);
    }
}

void saveByWriter(const Source& source, const Change& change, const HeldStorage::Sink& sink) {
    FlowbookFileWriter writer(kName, writable(source, sink), {});
    setCode(change, writer);
    setProperties(change, writer);
    writer.close(false);
}

void storeProperties(const Change& change, opc::model::Package& package) {
    CorePropertiesManager manager(package, CorePropertiesManager::DeterministicMode::Off);
    CoreProperties properties = manager.getCoreProperties();
    properties.setTARMICReleaseInfo(CoreProperties::getCurrentTARMICReleaseInfo());
    properties.setLastModifiedTime(CoreProperties::getCurrentTime());
    setProperties(change, properties);
    manager.setCoreProperties(properties);
}

/// The writer has no calls for rich code and single pictures.
void saveByPackage(const Source& source, const Change& change, const HeldStorage::Sink& sink) {
    opc::zippackage::ZipPhysicalPackage container(kName, opc::FileSystemOpsSelector(writable(source, sink)), true);
    opc::model::Package package(container);
    package.open(opc::interfaces::OpenMode::Update);
    if (change.rich) {
        kit::richCodePart(package).getOutputStream()->write(change.rich->data(), change.rich->size());
    }
    for (const auto& [mediaType, content] : change.pictures) {
        kit::addPicture(package, mediaType, content);
    }
    storeProperties(change, package);
    package.close();
}

void copy(const Source& source, const HeldStorage::Sink& sink) {
    const auto replacement = sink();
    replacement->append(*source.file, 0, source.file->size());
    replacement->commit();
}

/// A replacement in memory, and what it becomes.
class Memory {
public:
    HeldStorage::Sink sink() {
        return [storage = storage_] { return storage->beginReplacement(kName, nullptr); };
    }
    fl::Bytes bytes() const { return storage_->get(kName); }

private:
    std::shared_ptr<MemoryStorage> storage_ = std::make_shared<MemoryStorage>();
};

/// A sink that replaces a file of the machine.
HeldStorage::Sink sinkAt(const std::u16string& path, const ReadableFile* replaced) {
    return
        [path, replaced, local = std::make_shared<LocalStorage>()] { return local->beginReplacement(path, replaced); };
}

}  // namespace

bool Change::isEmpty() const { return !hasCode(*this) && !needsPackage(*this) && !title && !description && !version; }

void Change::check() const {
    CoreProperties any;
    setProperties(*this, any);
    if (rich) {
        const fl::Bytes bytes(rich->begin(), rich->end());
        opc::ByteArrayInAdaptor stream(bytes);
        FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream);
    }
    for (const auto& picture : pictures) {
        kit::checkPictureType(picture.first);
    }
}

void save(const Source& source, const Change& change, const HeldStorage::Sink& sink) {
    if (change.isEmpty()) {
        copy(source, sink);
    } else if (!needsPackage(change)) {
        saveByWriter(source, change, sink);
    } else if (!hasCode(change)) {
        saveByPackage(source, change, sink);
    } else {
        Memory between;
        saveByWriter(source, change, between.sink());
        saveByPackage(Source::ofBytes(between.bytes()), change, sink);
    }
}

fl::Bytes saveAsBytes(const Source& source, const Change& change) {
    Memory memory;
    save(source, change, memory.sink());
    return memory.bytes();
}

void saveBack(const Source& source, const Change& change) {
    save(source, change, sinkAt(source.path, source.file.get()));
}

void saveAt(const Source& source, const Change& change, const std::u16string& path) {
    const LocalStorage local;
    const std::u16string anchored = local.anchored(path);
    const auto present = local.exists(anchored) ? local.openForReading(anchored) : nullptr;
    save(source, change, sinkAt(anchored, present.get()));
}

fl::Bytes newFlowbook() {
    const auto memory = std::make_shared<MemoryStorage>();
    FlowbookFileWriter writer(kName, StorageSystemReference(memory), {});
    writer.write(FlowbookFilePackage());
    writer.close(false);
    return memory->get(kName);
}

}  // namespace flowbook::python
