#include "fl/filesystem/Canonical.hpp"
#include "fl/filesystem/FsysExceptionBase.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "fl/i18n/codecvt_string_to_ustring.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "foundation/storage/vfs/LocalStorage.hpp"
#include "foundation/storage/vfs/StorageError.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/FileSystemOpsSelector.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/model/PackageNotFound.hpp"
#include "opc/model/PartNotFound.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/model/XercesGuard.hpp"
#include "opc/model/XercesHelper.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "support/Flowbooks.hpp"
#include "support/TempDir.hpp"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sys/resource.h>
#include <typeinfo>
#include <unistd.h>
#include <xercesc/dom/DOM.hpp>

namespace {

using flowbook::FlowbookFilePackage;
using flowbook::FlowbookFileReader;
using flowbook::FlowbookFileWriter;
using foundation::storage::vfs::LocalStorage;
using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::Replacement;
using foundation::storage::vfs::StorageError;
using foundation::storage::vfs::StorageErrorKind;
using opc::interfaces::OpenMode;
using opc::model::PartName;
using support::Book;
using support::bytes;

const std::u16string kLoneSurrogate(1, 0xD800);
const std::u16string kTooLongName(300, u'n');
const std::u16string kType = u"http://example.org/type";
const std::u16string kDocumentType = FlowbookFilePackage::createDocumentRelationship().type;

using ThrowingCall = std::function<void()>;

/// One row of throws.inc: a function, by class and name, and an exception that its comment names behind "@throws".
struct Promise {
    const char* function;
    const char* exception;
};

constexpr Promise kPromises[] = {
#include "throws.inc"
};

template <class Exception>
bool isOf(const std::exception& failure) {
    return dynamic_cast<const Exception*>(&failure) != nullptr;
}

bool isNamed(const std::exception& failure, const std::string& name) {
    using Test = bool (*)(const std::exception&);
    static const std::map<std::string, Test> tests{
        {"ConversionError", isOf<fl::i18n::ConversionError>},
        {"Exception", isOf<opc::Exception>},
        {"FlowbookEncrypted", isOf<flowbook::FlowbookEncrypted>},
        {"FlowbookFileReaderGenericException", isOf<flowbook::FlowbookFileReaderGenericException>},
        {"FlowbookFileReaderPackageNotFound", isOf<flowbook::FlowbookFileReaderPackageNotFound>},
        {"FlowbookFileWriterGenericException", isOf<flowbook::FlowbookFileWriterGenericException>},
        {"FlowbookInvalidFileName", isOf<flowbook::FlowbookInvalidFileName>},
        {"FlowbookNotEncrypted", isOf<flowbook::FlowbookNotEncrypted>},
        {"FlowbookNotFound", isOf<flowbook::FlowbookNotFound>},
        {"FsysExceptionBase", isOf<fl::filesystem::FsysExceptionBase>},
        {"InvalidXMLDocument", isOf<opc::model::InvalidXMLDocument>},
        {"PackageNotFound", isOf<opc::model::PackageNotFound>},
        {"PartNotFound", isOf<opc::model::PartNotFound>},
        {"StorageError", isOf<StorageError>},
        {"invalid_argument", isOf<std::invalid_argument>},
    };
    const auto found = tests.find(name);
    return found != tests.end() && found->second(failure);
}

/// A flowbook whose document part has these bytes and this content type.
Book bookOf(const std::string& document, const std::u16string& parameters = u"") {
    Book book;
    FlowbookFilePackage::Part part = FlowbookFilePackage::createEmptyDocumentPart();
    part.content = bytes(document);
    part.contentType += parameters;
    book.update([&](FlowbookFileWriter& writer) {
        writer.writePackagePart(part);
        writer.writePackageRelationship(FlowbookFilePackage::createDocumentRelationship());
    });
    return book;
}

/// A flowbook without code.
Book emptyBook() {
    Book book;
    book.update([](FlowbookFileWriter& writer) { writer.setTitle(u"t"); });
    return book;
}

/// A flowbook whose document relationship leads nowhere.
Book danglingBook() {
    Book book;
    book.update([](FlowbookFileWriter& writer) {
        writer.writePackageRelationship(FlowbookFilePackage::createDocumentRelationship());
    });
    return book;
}

/// A flowbook whose document, of 3 MiB, is reached a hundred times.
Book repeatedBook() {
    Book book = bookOf(std::string(std::size_t{3} << 20, ' '));
    book.update([](FlowbookFileWriter& writer) {
        for (int i = 0; i < 100; ++i) {
            writer.writePackageRelationship(FlowbookFilePackage::createDocumentRelationship());
        }
    });
    return book;
}

/// A package in memory with one part, "/a.xml", open in a mode.
class OpenPackage {
public:
    explicit OpenPackage(OpenMode mode = OpenMode::Update) {
        book_.update([](FlowbookFileWriter& writer) {
            writer.writePackagePart({bytes("<a/>"), u"application/xml", u"/a.xml", {}});
        });
        package.open(mode);
    }

private:
    Book book_;
    opc::zippackage::ZipPhysicalPackage container_{Book::kName, opc::FileSystemOpsSelector(book_.storage()), true};

public:
    opc::model::Package package{container_};
};

/// Runs a call on a package that was made and not opened.
void onClosed(const std::function<void(opc::model::Package&)>& call) {
    opc::zippackage::ZipPhysicalPackage container(u"mem://none.tqx", opc::FileSystemOpsSelector(Book().storage()),
                                                  true);
    opc::model::Package package(container);
    call(package);
}

/// Runs a call on the replacement of a file, while the system takes no byte for any file.
void onFullDisk(const std::function<void(Replacement&)>& call) {
    const support::TempDir folder;
    LocalStorage storage;
    const auto replacement = storage.beginReplacement(folder.name("a"), nullptr);
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    const rlimit none{0, former.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &none);
    const auto restore = [&](const void*) { ::setrlimit(RLIMIT_FSIZE, &former); };
    const std::unique_ptr<const rlimit, decltype(restore)> restored(&former, restore);
    call(*replacement);
}

void writeMuch(Replacement& replacement) {
    const support::Bytes much(std::size_t{8} << 20);
    replacement.write(much.data(), much.size());
    replacement.commit();
}

/// A storage whose names depend on something that cannot be found out.
class LostStorage : public MemoryStorage {
public:
    std::u16string anchored(const std::u16string& name) const override {
        throw StorageError(StorageErrorKind::Other, "no working directory for " + support::text(name));
    }
};

opc::FileSystemOps lostFiles() {
    const foundation::storage::vfs::StorageSystemReference storage{std::make_shared<LostStorage>()};
    return opc::FileSystemOpsSelector(storage).getForPath(u"a");
}

/// Runs a call with an environment variable set.
void withVariable(const char* name, const std::string& value, const std::function<void()>& call) {
    ::setenv(name, value.c_str(), 1);
    const auto restore = [](const char* variable) { ::unsetenv(variable); };
    const std::unique_ptr<const char, decltype(restore)> restored(name, restore);
    call();
}

opc::FileSystemOps localFiles() { return opc::FileSystemOpsSelector().getForPath(u"a"); }

void readXml(const std::function<void(xercesc::DOMLSParser*)>& call) {
    const opc::model::XercesGuard guard;
    const auto release = [](xercesc::DOMLSParser* parser) { parser->release(); };
    const std::unique_ptr<xercesc::DOMLSParser, decltype(release)> parser(opc::model::XercesHelper::createParser(),
                                                                          release);
    call(parser.get());
}

void writeLoneSurrogateAsXml() {
    readXml([](xercesc::DOMLSParser* parser) {
        using Helper = opc::model::XercesHelper;
        xercesc::DOMDocument* const document = Helper::readDocumentFromString(parser, u"<a/>", false, u"", u"");
        Helper::setElementAttributeNS(document->getDocumentElement(), u"", opc::model::XercesString(u"b"),
                                      kLoneSurrogate);
        const auto release = [](xercesc::DOMLSSerializer* writer) { writer->release(); };
        const std::unique_ptr<xercesc::DOMLSSerializer, decltype(release)> writer(Helper::createWriter(), release);
        support::Bytes written;
        opc::ByteArrayOutAdaptor out(written);
        Helper::writeDocumentToStream(writer.get(), document, out);
    });
}

/// Saves over a version that another program has put in the place of the one that was opened.
void saveOverAnother() {
    const Book book = bookOf("<a/>");
    FlowbookFileWriter writer = book.writer();
    writer.setTitle(u"t");
    book.set(bytes("another version"));
    writer.close(false);
}

void writePart(const std::u16string& name) {
    const Book book;
    book.writer().writePackagePart({{}, u"application/xml", name, {}});
}

std::string key(const Promise& promise) { return std::string(promise.function) + " " + promise.exception; }

/// By function and exception, a call that provokes it; where there are overloads, one of each.
const std::multimap<std::string, ThrowingCall>& calls() {
    static const std::multimap<std::string, ThrowingCall> all{
        {"FlowbookFileReader::FlowbookFileReader FlowbookInvalidFileName", [] { FlowbookFileReader(u"a.txt"); }},
        {"FlowbookFileReader::FlowbookFileReader FlowbookFileReaderPackageNotFound",
         [] { FlowbookFileReader(u"/none/a.tqx"); }},
        {"FlowbookFileReader::FlowbookFileReader FlowbookFileReaderGenericException",
         [] { Book(bytes("no zip")).reader(); }},
        {"FlowbookFileReader::getTARMICCode FlowbookNotFound", [] { bookOf("no XML").reader().getTARMICCode(); }},
        {"FlowbookFileReader::getTARMICCode FlowbookNotFound", [] { emptyBook().reader().getTARMICCode(); }},
        {"FlowbookFileReader::getTARMICCode FlowbookEncrypted",
         [] { bookOf("x", u";encryption=AES").reader().getTARMICCode(); }},
        {"FlowbookFileReader::getRichTARMICCode FlowbookEncrypted",
         [] { bookOf("x", u";encryption=AES").reader().getRichTARMICCode(); }},
        {"FlowbookFileReader::getRichTARMICCode ConversionError", [] { bookOf("\xFF").reader().getRichTARMICCode(); }},
        {"FlowbookFileReader::getEncryptedRichTARMICCode FlowbookNotEncrypted",
         [] {
             support::Bytes code;
             opc::ByteArrayOutAdaptor out(code);
             bookOf("<a/>").reader().getEncryptedRichTARMICCode(out);
         }},
        {"FlowbookFileReader::read Exception", [] { danglingBook().reader().read(); }},
        {"FlowbookFileReader::read FlowbookFileReaderGenericException", [] { repeatedBook().reader().read(); }},
        {"FlowbookFileUtils::getTARMICCodeFromRichTARMICCode InvalidXMLDocument",
         [] { flowbook::FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(u"<!DOCTYPE a><a/>"); }},
        {"FlowbookFileWriter::FlowbookFileWriter FlowbookFileReaderGenericException",
         [] { Book(bytes("no zip")).writer(); }},
        {"FlowbookFileWriter::setTARMICCode Exception", [] { Book().writer().setTARMICCode(kLoneSurrogate); }},
        {"FlowbookFileWriter::write Exception",
         [] {
             std::vector<FlowbookFilePackage::Part> parts{{{}, u"application/xml", u"no name", {}}};
             std::vector<FlowbookFilePackage::Relationship> relationships;
             Book().writer().write(FlowbookFilePackage(parts, relationships));
         }},
        {"FlowbookFileWriter::writePackagePart Exception", [] { writePart(u"no name"); }},
        {"FlowbookFileWriter::deletePartByRelationshipType Exception",
         [] { danglingBook().writer().deletePartByRelationshipType(kDocumentType); }},
        {"FlowbookFileWriter::close FlowbookFileWriterGenericException", saveOverAnother},
        {"canonical FsysExceptionBase", [] { fl::filesystem::canonical(u"/none/a", u""); }},
        {"canonical FsysExceptionBase", [] { fl::filesystem::canonical(kLoneSurrogate, u""); }},
        {"utf8_to_ustring ConversionError", [] { fl::i18n::utf8_to_ustring("\xC0\x80"); }},
        {"ustring_to_utf8 ConversionError", [] { fl::i18n::ustring_to_utf8(kLoneSurrogate); }},
        {"codecvt_string_to_ustring::codecvt_string_to_ustring invalid_argument",
         [] { fl::i18n::codecvt_string_to_ustring("latin1"); }},
        {"codecvt_string_to_ustring::operator ConversionError",
         [] { fl::i18n::codecvt_string_to_ustring("utf-8")("\xFF"); }},
        {"MemoryStorage::get StorageError", [] { MemoryStorage().get(u"a"); }},
        {"ReadableFile::read StorageError",
         [] {
             const support::TempDir folder;
             folder.put("a", "12");
             char read[3];
             LocalStorage().openForReading(folder.name("a"))->read(0, read, sizeof read);
         }},
        {"Replacement::write StorageError", [] { onFullDisk(writeMuch); }},
        {"Replacement::append StorageError",
         [] {
             MemoryStorage storage;
             storage.put(u"a", bytes("12"));
             storage.beginReplacement(u"b", nullptr)->append(*storage.openForReading(u"a"), 1, 2);
         }},
        {"Replacement::written StorageError",
         [] {
             onFullDisk([](Replacement& replacement) {
                 replacement.write("1", 1);
                 replacement.written();
             });
         }},
        {"Replacement::commit StorageError",
         [] {
             MemoryStorage storage;
             const auto replacement = storage.beginReplacement(u"a", nullptr);
             storage.put(u"a", bytes("appeared meanwhile"));
             replacement->commit();
         }},
        {"StorageSystem::exists StorageError", [] { static_cast<void>(LocalStorage().exists(kTooLongName)); }},
        {"StorageSystem::openForReading StorageError", [] { LocalStorage().openForReading(u"/none/a"); }},
        {"StorageSystem::beginReplacement StorageError", [] { LocalStorage().beginReplacement(u"/none/a", nullptr); }},
        {"FileSystemOps::exists Exception", [] { static_cast<void>(localFiles().exists(kTooLongName)); }},
        {"FileSystemOps::anchored Exception", [] { lostFiles().anchored(u"a"); }},
        {"FileSystemOps::openForReading PackageNotFound", [] { localFiles().openForReading(u"/none/a"); }},
        {"FileSystemOps::openForReading Exception", [] { localFiles().openForReading(kTooLongName); }},
        {"FileSystemOps::beginReplacement Exception", [] { localFiles().beginReplacement(u"/none/a", nullptr); }},
        {"IPhysicalPackage::open PackageNotFound",
         [] {
             opc::zippackage::ZipPhysicalPackage(u"/none/a", opc::FileSystemOpsSelector(), true).open(OpenMode::Update);
         }},
        {"ContentType::ContentType Exception", [] { opc::model::ContentType(u"text"); }},
        {"ContentType::addParameter Exception", [] { opc::model::ContentType(u"a/b;c=d").addParameter(u"c", u"e"); }},
        {"ContentType::getParameterValue Exception", [] { opc::model::ContentType(u"a/b").getParameterValue(u"c"); }},
        {"Package::open PackageNotFound",
         [] { onClosed([](opc::model::Package& package) { package.open(OpenMode::ReadOnly); }); }},
        {"Package::open Exception", [] { OpenPackage().package.open(OpenMode::ReadOnly); }},
        {"Package::getPart PartNotFound", [] { OpenPackage().package.getPart(PartName(u"/b.xml")); }},
        {"Package::createPart Exception",
         [] {
             OpenPackage().package.createPart(
                 PartName(u"/A.xml"), opc::model::ContentType(u"application/xml"),
                 opc::model::StandardPartInfo(opc::interfaces::CompressionType::Normal, 0));
         }},
        {"Package::deletePart PartNotFound", [] { OpenPackage().package.deletePart(PartName(u"/b.xml")); }},
        {"PackageHelper::deleteRelationshipsAndTargets Exception",
         [] {
             onClosed([](opc::model::Package& package) {
                 opc::model::PackageHelper::deleteRelationshipsAndTargets(package, kType);
             });
         }},
        {"PartName::PartName Exception", [] { PartName(u"/a/../b"); }},
        {"PartName::PartName Exception", [] { PartName(opc::model::URI(u"http://example.org/a")); }},
        {"Relationship::getTargetURI Exception",
         [] {
             OpenPackage open;
             open.package.carryRelationship(kType, u"%zz", opc::model::TargetMode::External, u"").getTargetURI();
         }},
        {"RelationshipSource::createInternalRelationship Exception",
         [] {
             OpenPackage(OpenMode::ReadOnly).package.createInternalRelationship(kType, opc::model::URI(u"/a.xml"), u"");
         }},
        {"RelationshipSource::deleteRelationship Exception", [] { OpenPackage().package.deleteRelationship(u"none"); }},
        {"RelationshipSource::deleteRelationship Exception",
         [] {
             OpenPackage open;
             const auto made = open.package.createInternalRelationship(kType, opc::model::URI(u"/a.xml"), u"");
             open.package.deleteRelationship(made);
             open.package.deleteRelationship(made);
         }},
        {"URI::URI Exception", [] { opc::model::URI(u"%zz"); }},
        {"XercesHelper::readDocumentFromString InvalidXMLDocument",
         [] {
             readXml([](xercesc::DOMLSParser* parser) {
                 opc::model::XercesHelper::readDocumentFromString(parser, u"<a>", false, u"", u"");
             });
         }},
        {"XercesHelper::writeDocumentToStream Exception", writeLoneSurrogateAsXml},
        {"CoreProperties::getCurrentTime Exception",
         [] { withVariable("SOURCE_DATE_EPOCH", "soon", [] { opc::pxservices::CoreProperties::getCurrentTime(); }); }},
        {"CorePropertiesManager::getCoreProperties Exception",
         [] {
             using Manager = opc::pxservices::CorePropertiesManager;
             onClosed([](opc::model::Package& package) {
                 Manager(package, Manager::DeterministicMode::Off).getCoreProperties();
             });
         }},
        {"CorePropertiesManager::setCoreProperties Exception",
         [] {
             OpenPackage open;
             opc::pxservices::CorePropertiesManager manager(
                 open.package, opc::pxservices::CorePropertiesManager::DeterministicMode::Off);
             opc::pxservices::CoreProperties properties = manager.getCoreProperties();
             properties.setTitle(std::u16string(1, 1));
             manager.setCoreProperties(properties);
         }},
    };
    return all;
}

TEST(Throws, EveryPromiseOfTheHeaders) {
    std::set<std::string> promised;
    for (const Promise& promise : kPromises) {
        promised.insert(key(promise));
        const auto [begin, end] = calls().equal_range(key(promise));
        EXPECT_NE(begin, end) << key(promise) << " is provoked by no call";
        for (auto call = begin; call != end; ++call) {
            try {
                call->second();
                ADD_FAILURE() << key(promise) << ": nothing was thrown";
            } catch (const std::exception& failure) {
                EXPECT_TRUE(isNamed(failure, promise.exception))
                    << key(promise) << ": " << typeid(failure).name() << " " << failure.what();
                EXPECT_STRNE(failure.what(), "") << key(promise);
            }
        }
    }
    for (const auto& [name, call] : calls()) {
        EXPECT_EQ(promised.count(name), 1U) << name << " is in no header";
    }
}

}  // namespace
