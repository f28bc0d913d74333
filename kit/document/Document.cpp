// A flowbook as the command and Python look at it. The library reads one file strictly and says no to the first fault;
// here each question is answered by itself, with its own failure, so that one bad property does not hide the code.
#include "kit/document/Document.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/Exception.hpp"
#include "opc/StreamHelper.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"

#include <algorithm>
#include <boost/date_time/posix_time/time_formatters.hpp>
#include <cctype>

namespace flowbook::kit {

using foundation::storage::vfs::MemoryStorage;
using foundation::storage::vfs::StorageSystemReference;
using opc::model::Part;
using opc::pxservices::CoreProperties;

namespace {

std::optional<std::string> toText(const CoreProperties::Text& text) {
    return text ? std::make_optional(fl::i18n::to_string(*text)) : std::nullopt;
}

std::optional<std::string> toText(const CoreProperties::Time& time) {
    return time ? std::make_optional(boost::posix_time::to_iso_extended_string(*time) + "Z") : std::nullopt;
}

/// The release is returned as a plain text, so an absent one and an empty one look the same.
std::optional<std::string> toText(const std::u16string& release) {
    return release.empty() ? std::nullopt : std::make_optional(fl::i18n::to_string(release));
}

struct Question {
    const char* label;
    std::optional<std::string> (*ask)(const CoreProperties&);
    bool isTime = false;
};

constexpr Question kQuestions[] = {
    {"title", [](const CoreProperties& all) { return toText(all.getTitle()); }},
    {"description", [](const CoreProperties& all) { return toText(all.getDescription()); }},
    {"version", [](const CoreProperties& all) { return toText(all.getVersion()); }},
    {"release", [](const CoreProperties& all) { return toText(all.getTARMICRelease()); }},
    {"created", [](const CoreProperties& all) { return toText(all.getCreatedTime()); }, true},
    {"modified", [](const CoreProperties& all) { return toText(all.getLastModifiedTime()); }, true}};

StorageSystemReference holding(const std::u16string& name, fl::Bytes bytes) {
    const auto memory = std::make_shared<MemoryStorage>();
    memory->put(name, std::move(bytes));
    return StorageSystemReference(memory);
}

std::string nameOf(const Part& part) { return part.getName().ascii(); }

/// Whether a document declares to be UTF-8, or nothing, so that it is (XML 1.0, appendix F).
bool declaresUtf8(std::string_view document) {
    constexpr std::string_view kDeclared = R"(<?xml version="1.0" encoding="UTF-8")";
    const bool declaresNothing =
        document.size() > 1 && document[0] == '<' && std::isalpha(static_cast<unsigned char>(document[1])) != 0;
    return declaresNothing || document.substr(0, kDeclared.size()) == kDeclared;
}

/// A document that cannot be read as UTF-8, in UTF-8; nothing when it cannot be read as it declares either.
std::optional<fl::Bytes> transcoded(const fl::Bytes& document) {
    if (encodingOf(document) == XmlEncoding::Utf8) {
        return std::nullopt;
    }
    try {
        return inUtf8(document, "");
    } catch (const opc::Exception&) {
        return std::nullopt;  // What reads it as UTF-8 says what is wrong.
    }
}

/// The reader takes every document for UTF-8, and the call that takes bytes goes by what the document declares. That
/// one is for documents that agree, as it makes no text of all the document first; what it refuses, the other one
/// describes.
std::u16string codeOf(const fl::Bytes& document) {
    const std::string_view text = asText(document);
    if (declaresUtf8(text)) {
        try {
            opc::ByteArrayInAdaptor stream(document);
            return FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream);
        } catch (const opc::model::InvalidXMLDocument&) {
        }
    }
    return FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(fl::i18n::utf8_to_ustring(std::string(text)));
}

/// Nothing when it cannot be read.
std::optional<std::u16string> codeAsDeclared(const fl::Bytes& document) {
    const std::optional<fl::Bytes> utf8 = transcoded(document);
    return utf8 ? std::make_optional(codeOf(*utf8)) : std::nullopt;
}

}  // namespace

class Document::State {
public:
    State(const std::u16string& name, const StorageSystemReference& storage, opc::interfaces::OpenMode mode)
        : container_(name, opc::FileSystemOpsSelector(storage), true),
          package_(container_),
          isFixed_(mode == opc::interfaces::OpenMode::ReadOnly) {
        package_.open(mode);
    }

    /// The content of the part that holds the code. A small one is kept, as a search asks for its code and its prose,
    /// and inflating it is a tenth of such a search.
    fl::Bytes codeContent(const Part& part) {
        constexpr std::size_t kMostKept = std::size_t{1} << 20;
        if (kept_) {
            return *kept_;
        }
        fl::Bytes content = contentOf(part);
        if (isFixed_ && content.size() <= kMostKept) {
            kept_ = content;
        }
        return content;
    }

    /// The properties share the package's caches, but ask it for nothing that a read-only package refuses.
    opc::model::Package& package() { return package_; }
    const opc::interfaces::IPhysicalPackage& container() const { return container_; }

private:
    opc::zippackage::ZipPhysicalPackage container_;
    opc::model::Package package_;
    bool isFixed_;  ///< whether the package cannot be changed
    std::optional<fl::Bytes> kept_;
};

const char* nameOf(CodeForm form) {
    constexpr const char* kNames[] = {"plain", "rich", "encrypted", "none"};
    return kNames[static_cast<std::size_t>(form)];
}

Document::Document(const std::u16string& name, const StorageSystemReference& storage, opc::interfaces::OpenMode mode)
    : state_(std::make_unique<State>(name, storage, mode)) {}

Document::Document(fl::Bytes bytes, const std::u16string& name) : Document(name, holding(name, std::move(bytes))) {}

Document::Document(Document&&) noexcept = default;
Document& Document::operator=(Document&&) noexcept = default;
Document::~Document() = default;

const opc::model::Package& Document::package() const { return state_->package(); }

opc::model::Package& Document::package() { return state_->package(); }

const opc::interfaces::IPhysicalPackage& Document::container() const { return state_->container(); }

std::string Document::where(const Part& part) const {
    return container().displayName() + ": part " + part.getName().ascii();
}

std::vector<Property> Document::properties() const {
    using opc::pxservices::CorePropertiesManager;
    const CorePropertiesManager manager(state_->package(), CorePropertiesManager::DeterministicMode::Off);
    std::optional<CoreProperties> all;
    std::vector<Property> properties;
    for (const Question& question : kQuestions) {
        Property property{question.label, std::nullopt, "", question.isTime};
        try {
            all = all ? std::move(all) : manager.getCoreProperties();
            property.value = question.ask(*all);
        } catch (const opc::Exception& failure) {
            property.fault = failure.what();
            property.isOfLimit = failure.kind() == opc::ErrorKind::LimitExceeded;
            property.part = failure.part();
        }
        properties.push_back(std::move(property));
    }
    return properties;
}

opc::Exception failureOf(const Property& property) {
    const auto kind = property.isOfLimit ? opc::ErrorKind::LimitExceeded : opc::ErrorKind::Damaged;
    return {kind, property.fault, property.part};
}

std::vector<opc::model::Relationship> Document::codeRelationships() const {
    const std::optional<Part> part = codePart();
    return part ? part->getRelationships(opc::model::ExcludeMode::None) : std::vector<opc::model::Relationship>();
}

CodeForm Document::form() const {
    const std::optional<Part> part = codePart();
    return part ? formOf(*part) : CodeForm::None;
}

fl::Bytes Document::storedCode() const {
    const std::optional<Part> part = codePart();
    return part ? state_->codeContent(*part) : fl::Bytes();
}

fl::Bytes Document::codeInUtf8() const {
    fl::Bytes stored = storedCode();
    return transcoded(stored).value_or(std::move(stored));
}

std::u16string Document::code() const {
    const std::optional<Part> part = codePart();
    if (!part) {
        return {};
    }
    if (formOf(*part) == CodeForm::Encrypted) {
        throw opc::Exception(opc::ErrorKind::Misuse, where(*part) + ": the code is encrypted", nameOf(*part));
    }
    const fl::Bytes stored = state_->codeContent(*part);
    try {
        return codeOf(stored);
    } catch (const opc::model::InvalidXMLDocument& failure) {
        if (auto code = codeAsDeclared(stored)) {
            return *std::move(code);
        }
        throw opc::Exception(failure.kind(), where(*part) + ": " + failure.what(), nameOf(*part));
    } catch (const fl::i18n::ConversionError& failure) {
        if (auto code = codeAsDeclared(stored)) {
            return *std::move(code);
        }
        throw opc::Exception(opc::ErrorKind::Damaged, where(*part) + ": " + failure.what(), nameOf(*part));
    }
}

RichText Document::richText() const {
    const std::optional<Part> part = codePart();
    const bool isReadable = part && formOf(*part) != CodeForm::Encrypted;
    if (!isReadable) {
        return {};
    }
    const fl::Bytes stored = state_->codeContent(*part);
    const bool isPlainBytes = !isUtf16(stored);
    RichText text = isPlainBytes ? readRichText(stored, where(*part)) : RichText();
    if (isPlainBytes && text.fault.empty()) {
        return text;
    }
    const auto utf8 = transcoded(stored);
    return utf8 || !isPlainBytes ? readRichText(utf8.value_or(stored), where(*part)) : std::move(text);
}

std::optional<Part> codePartOf(const opc::model::Package& package) {
    const auto relationships = package.getRelationshipsByType(documentRelationshipType());
    if (relationships.empty()) {
        return std::nullopt;
    }
    const std::string target = fl::i18n::to_string(relationships.front().getTarget());
    return opc::inPart(target,
                       [&] { return package.getPart(opc::model::PartName(relationships.front().getTargetURI())); });
}

std::optional<Part> partAt(const opc::model::Package& package, const opc::model::Relationship& relationship) {
    if (relationship.getTargetMode() == opc::model::TargetMode::External) {
        return std::nullopt;
    }
    try {
        const opc::model::PartName name(relationship.getTargetURI());
        return package.hasPart(name) ? std::make_optional(package.getPart(name)) : std::nullopt;
    } catch (const opc::Exception&) {
        return std::nullopt;  // The target is no name of a part.
    }
}

CodeForm formOf(const Part& codePart) {
    const opc::model::ContentType type = codePart.getContentType();
    if (type.hasParameter(u"encryption")) {
        return CodeForm::Encrypted;
    }
    const bool isPlain = type.hasParameter(u"plaincode") && type.getParameterValue(u"plaincode") == u"true";
    return isPlain ? CodeForm::Plain : CodeForm::Rich;
}

std::vector<Part> partsInOrder(const Document& document) {
    std::vector<Part> parts = document.package().getParts();
    std::sort(parts.begin(), parts.end(),
              [](const Part& a, const Part& b) { return a.getName().folded() < b.getName().folded(); });
    return parts;
}

fl::Bytes contentOf(const Part& part) {
    return opc::inPart(nameOf(part), [&] {
        fl::Bytes bytes;
        opc::ByteArrayOutAdaptor out(bytes);
        opc::StreamHelper::copyStreamToStream(*part.getInputStream(), out);
        return bytes;
    });
}

opc::model::PartName partNamed(const std::string& name) { return opc::model::PartName(fl::i18n::to_ustring(name)); }

std::optional<std::string> foldedTarget(const opc::model::Relationship& relationship) {
    if (relationship.getTargetMode() != opc::model::TargetMode::Internal) {
        return std::nullopt;
    }
    try {
        return opc::model::PartName(relationship.getTargetURI()).folded();
    } catch (const opc::Exception&) {
        return std::nullopt;
    }
}

bool isPicture(const Part& part) { return part.getContentType().getMediaType().rfind(u"image/", 0) == 0; }

const std::u16string& documentRelationshipType() {
    static const std::u16string& type = *new std::u16string(FlowbookFilePackage::getPackageRelationshipTypes().front());
    return type;
}

}  // namespace flowbook::kit
