// Reading any file gives results or documented failures, and what could be opened can be updated. The first byte gives
// the form of the rest: a file as it is, or names and contents, separated by 0xFF 0xFF (which no UTF-8 holds). Those
// are zipped here, as mutated bytes of a container would nearly always end at its checksums.
#include "Fuzzing.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "flowbook/FlowbookExceptions.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "support/ZipBuilder.hpp"

#include <map>
#include <optional>

using flowbook::FlowbookExceptionBase;
using flowbook::FlowbookFileReader;
using fuzzing::File;
using fuzzing::require;
using fuzzing::succeeds;
using opc::model::Package;

namespace {

using Bytes = std::vector<unsigned char>;
constexpr char kSeparator[] = "\xFF\xFF";
constexpr std::size_t kMaxEntries = 64;

std::string nextField(std::string& rest) {
    const std::size_t end = rest.find(kSeparator);
    std::string field = rest.substr(0, end);
    rest.erase(0, end == std::string::npos ? end : end + 2);
    return field;
}

std::string zipped(std::string rest, bool deflated) {
    support::ZipFile zip;
    while (!rest.empty() && zip.entries.size() < kMaxEntries) {
        const std::string name = nextField(rest);
        zip.entries.emplace_back(name, nextField(rest), deflated);
    }
    return zip.bytes();
}

template <class Call>
void mayFail(Call&& call) {
    succeeds<FlowbookExceptionBase, opc::Exception, fl::i18n::ConversionError>(call);
}

/// A snapshot of a hostile file, once written, is a file that opens.
void copySnapshot(const FlowbookFileReader& reader) {
    const flowbook::FlowbookFilePackage snapshot = reader.read();
    const File copy;
    flowbook::FlowbookFileWriter writer(File::kName, copy.reference, {});
    writer.write(snapshot);
    writer.close(false);
    require(succeeds<FlowbookExceptionBase>([&] { FlowbookFileReader again(File::kName, copy.reference); }),
            "a written snapshot opens");
}

void read(const FlowbookFileReader& reader) {
    Bytes encrypted;
    opc::ByteArrayOutAdaptor out(encrypted);
    mayFail([&] { reader.getTARMICCode(); });
    mayFail([&] { reader.getRichTARMICCode(); });
    mayFail([&] { reader.getEncryptedRichTARMICCode(out); });
    mayFail([&] { reader.isPlainCode(); });
    mayFail([&] { reader.getTitle(); });
    mayFail([&] { reader.getDescription(); });
    mayFail([&] { reader.getVersion(); });
    mayFail([&] { reader.getTARMICRelease(); });
    mayFail([&] { reader.getCreatedTime(); });
    mayFail([&] { reader.getLastModifiedTime(); });
    mayFail([&] { copySnapshot(reader); });
}

/// A package of the file, with limits that keep a run short.
struct Opened {
    explicit Opened(const File& file) : zip(File::kName, opc::FileSystemOpsSelector(file.reference), true, limits()) {}

    static opc::Limits limits() {
        opc::Limits small;
        small.maxEntries = 256;
        small.maxPartSize = small.maxPackageXmlSize = small.ratioFreeSize = std::uint64_t{1} << 20;
        small.maxPackageSize = std::uint64_t{4} << 20;
        return small;
    }

    /// The type and, where it can be read, the content of each part.
    std::map<std::string, std::pair<std::u16string, std::optional<Bytes>>> parts() const {
        std::map<std::string, std::pair<std::u16string, std::optional<Bytes>>> found;
        for (const opc::model::Part& part : package.getParts()) {
            auto& [type, content] = found[part.getName().ascii()];
            type = part.getContentType().toString();
            Bytes bytes;
            opc::ByteArrayOutAdaptor out(bytes);
            if (succeeds<opc::Exception>([&] { part.getInputStream()->transferTo(out); })) {
                content = bytes;
            }
        }
        return found;
    }

    opc::zippackage::ZipPhysicalPackage zip;
    Package package{zip};
};

/// Adds a part and a relationship. If the update fails, the file must be as it was; if not, all other parts must be,
/// also those whose content cannot be read.
void checkUpdate(const File& file) {
    Opened opened(file);
    if (!succeeds<opc::Exception>([&] { opened.package.open(opc::interfaces::OpenMode::Update); })) {
        return;
    }
    auto expected = opened.parts();
    const bool isChanged = succeeds<opc::Exception>([&] {
        const opc::model::ContentType type(u"application/x-new");
        const opc::model::StandardPartInfo info(opc::interfaces::CompressionType::Normal, 0);
        opc::model::Part part = opened.package.createPart(opc::model::PartName(u"/new/part.bin"), type, info);
        part.getOutputStream()->write("new", 3);
        expected[part.getName().ascii()] = {type.toString(), Bytes{'n', 'e', 'w'}};
        opened.package.createInternalRelationship(u"x:new", part.getName().getURI(), u"");
    });
    const Bytes before = file.storage->get(File::kName);
    if (!isChanged || !succeeds<opc::Exception>([&] { opened.package.close(); })) {
        opened.package.revert();
        require(file.storage->get(File::kName) == before, "a failed update leaves the file as it was");
        return;
    }
    Opened again(file);
    again.package.open(opc::interfaces::OpenMode::ReadOnly);
    require(again.parts() == expected, "an update keeps the other parts");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string rest(data + 1, data + size);
    const std::string bytes = data[0] % 4 == 0 ? rest : zipped(rest, data[0] % 4 == 3);
    const File file;
    file.storage->put(File::kName, {bytes.begin(), bytes.end()});
    succeeds<FlowbookExceptionBase>([&] { read(FlowbookFileReader(File::kName, file.reference)); });
    checkUpdate(file);
    return 0;
}
