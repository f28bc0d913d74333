#include "durability/common/Scenario.hpp"

#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "opc/Exception.hpp"

#include <cstring>
#include <random>

namespace durability {

using namespace flowbook;
using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;

namespace {

constexpr std::size_t kSmall = 40;
constexpr std::size_t kLarge = 600 * 1000;  // large enough to be carried over within the kernel

std::string image(const std::string& type, std::size_t size) {
    std::mt19937 random(42);
    std::string text = "data:image/" + type + ";base64,";
    for (const std::size_t end = text.size() + size; text.size() < end;) {
        text += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[random() % 64];
    }
    return text;
}

Bytes makeFile(std::size_t imageSize) {
    const auto storage = std::make_shared<MemoryStorage>();
    FlowbookFileWriter writer(u"memory://old.tqx", StorageSystemReference(storage), {});
    writer.write(snapshotWithImages(imageSize));
    writer.setTitle(u"Old title");
    writer.setDescription(u"Old description");
    writer.close(false);
    return storage->get(u"memory://old.tqx");
}

const Content& none() {
    static const Content kNone;
    return kNone;
}

template <std::size_t imageSize>
const Content& file() {
    static const Content kFile = makeFile(imageSize);
    return kFile;
}

void doNothing(FlowbookFileWriter&) {}

void setTitle(FlowbookFileWriter& writer) { writer.setTitle(u"New title"); }

void setCode(FlowbookFileWriter& writer) { writer.setTARMICCode(u"x = 1\nprint(x)"); }

void setCodeAndTitle(FlowbookFileWriter& writer) {
    setCode(writer);
    setTitle(writer);
}

void writeSnapshot(FlowbookFileWriter& writer) {
    static const FlowbookFilePackage kSnapshot = snapshotWithImages(2 * kSmall);
    writer.write(kSnapshot);
}

std::u16string propertyOf(const FlowbookFileReader& reader, std::u16string (FlowbookFileReader::*get)() const) {
    try {
        return (reader.*get)();
    } catch (const FlowbookPropertyNotFound&) {
        return u"none";
    }
}

void describe(std::string& text, const std::vector<FlowbookFilePackage::Relationship>& relationships) {
    for (const auto& relationship : relationships) {
        for (const auto& field : {relationship.type, relationship.target, relationship.id}) {
            text.append(field.begin(), field.end()).append(relationship.isInternal ? "|" : "|external|");
        }
    }
}

}  // namespace

FlowbookFilePackage snapshotWithImages(std::size_t imageSize) {
    auto document = FlowbookFilePackage::createEmptyDocumentPart().content;
    std::vector<std::string> images{image("png", imageSize), image("gif", imageSize / 2)};
    return {document, images};
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> kScenarios{{"Create", none, setCodeAndTitle},
                                                  {"UpdateCode", file<kSmall>, setCode},
                                                  {"UpdateProperties", file<kSmall>, setTitle},
                                                  {"UpdateLargeFile", file<kLarge>, setTitle},
                                                  {"ChangeNothing", file<kSmall>, doNothing},
                                                  {"WriteSnapshot", file<kSmall>, writeSnapshot},
                                                  {"CreateFromSnapshot", none, writeSnapshot}};
    return kScenarios;
}

Outcome Scenario::save(const StorageSystemReference& storage, const std::u16string& file) const {
    Outcome failure = Outcome::OpenFailed;
    try {
        FlowbookFileWriter writer(file, storage, {});
        failure = Outcome::EditFailed;
        edit(writer);
        failure = Outcome::CloseFailed;
        writer.close(false);
        return Outcome::Saved;
    } catch (const std::bad_alloc&) {
        return Outcome::OutOfMemory;
    } catch (const FlowbookFileReaderGenericException&) {
        return failure == Outcome::OpenFailed ? failure : Outcome::Undocumented;
    } catch (const FlowbookFileWriterGenericException& error) {
        if (failure != Outcome::CloseFailed) {
            return Outcome::Undocumented;
        }
        return std::strstr(error.what(), "folder entry durable") != nullptr ? Outcome::NotConfirmed : failure;
    } catch (const opc::Exception&) {
        return failure == Outcome::EditFailed ? failure : Outcome::Undocumented;
    } catch (...) {
        return Outcome::Undocumented;
    }
}

std::string describe(const StorageSystemReference& storage, const std::u16string& file) {
    const FlowbookFileReader reader(file, storage);
    std::string text(reader.isPlainCode() ? "plain " : "rich ");
    for (const auto& field : {reader.getTARMICCode(), propertyOf(reader, &FlowbookFileReader::getTitle),
                              propertyOf(reader, &FlowbookFileReader::getDescription)}) {
        text.append(field.begin(), field.end()).append("|");
    }
    const FlowbookFilePackage package = reader.read();
    describe(text, package.getRelationships());
    for (const auto& part : package.getParts()) {
        text.append(part.partName.begin(), part.partName.end()).append(" ");
        text.append(part.contentType.begin(), part.contentType.end()).append(" ");
        text.append(part.content.begin(), part.content.end());
        describe(text, part.relationships);
    }
    return text;
}

std::ostream& operator<<(std::ostream& out, Outcome outcome) {
    static const char* const kNames[] = {"saved",        "not confirmed", "open failed", "edit failed",
                                         "close failed", "out of memory", "undocumented"};
    return out << kNames[static_cast<int>(outcome)];
}

std::ostream& operator<<(std::ostream& out, const Scenario& scenario) { return out << scenario.name; }

}  // namespace durability
