#include "commands/NewContent.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "io/OpenDocument.hpp"
#include "kit/compare/Settlement.hpp"
#include "kit/document/AroundCode.hpp"
#include "kit/document/Change.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/SearchedText.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "terminal/Failure.hpp"

namespace flowbook::tool {

using opc::interfaces::OpenMode;
using opc::model::Package;
using opc::pxservices::CoreProperties;
using opc::pxservices::CorePropertiesManager;

namespace {

constexpr auto kTimesAsTheyAre = CorePropertiesManager::DeterministicMode::Off;

/// The code as it is when it has been stored and read.
std::u16string asStored(const std::u16string& code) {
    std::u16string text;
    char16_t before = u'\0';
    for (const char16_t unit : FlowbookFileUtils::encodeControlCharacters(code)) {
        // XML makes one line feed of a carriage return, with or without a line feed behind it (XML 1.0, 2.11).
        if (unit != u'\n' || before != u'\r') {
            text.push_back(unit == u'\r' ? u'\n' : unit);
        }
        before = unit;
    }
    return text;
}

/// Whether no code is given, or the flowbook has it already in a form that may stay. A save that changes nothing would
/// change the file's time and make a commit of it.
bool needsNoNewCode(const NewContent& content, const kit::Document& document) {
    const kit::CodeForm form = document.form();
    if (content.rich) {
        return form == kit::CodeForm::Rich && document.storedCode() == *content.rich;
    }
    const bool isReadable = form == kit::CodeForm::Plain || (form == kit::CodeForm::Rich && !content.flatten);
    return !content.code || (isReadable && document.code() == asStored(*content.code));
}

void requireOnlyCode(const kit::Document& document) {
    if (kit::holdsOnlyCode(document)) {
        return;
    }
    const std::string what = kit::aroundCode(document.richText());
    if (!what.empty()) {
        throw Failure(ExitCode::NegativeFinding, "plain code would drop " + what + "; --flatten does it");
    }
}

void requireReplaceable(const NewContent& content, const kit::Document& document) {
    if (document.form() == kit::CodeForm::Encrypted && !content.replaceEncrypted) {
        throw Failure(ExitCode::Encrypted, "the code is encrypted; --replace-encrypted replaces it");
    }
}

/// The rich code document with this plain code in its paragraphs; nothing when it is not clear which line belongs
/// where.
std::optional<Bytes> withCodeInParagraphs(const NewContent& content, const kit::Document& document) {
    if (content.flatten || document.form() != kit::CodeForm::Rich || !document.richText().fault.empty()) {
        return std::nullopt;
    }
    const Bytes stored = document.storedCode();
    const auto divided = kit::divideCode(kit::codeParagraphs(stored), fl::i18n::to_string(*content.code));
    return divided ? std::make_optional(kit::withCodeParagraphs(stored, *divided)) : std::nullopt;
}

/// The part of the new content that the flowbook does not have yet.
struct Rest {
    NewContent content;
    bool isAny = true;          ///< whether anything is
    bool hasConflicts = false;  ///< whether a merge left something that is settled with the code
};

/// @throws Failure when the code would replace more than code.
Rest restOf(const NewContent& content, const Input& input) {
    const kit::Document document = openDocument(input);
    Rest rest{content};
    if (needsNoNewCode(content, document)) {
        rest.content.code.reset();
        rest.content.rich.reset();
        rest.isAny = !content.properties.agreeWith(document.properties());
        return rest;
    }
    requireReplaceable(content, document);
    rest.hasConflicts = !document.package().getRelationshipsByType(kit::kConflictType).empty();
    if (content.code) {
        rest.content.rich = withCodeInParagraphs(content, document);
    }
    if (rest.content.rich) {
        rest.content.code.reset();
    } else if (!content.flatten) {
        requireOnlyCode(document);
    }
    return rest;
}

void setProperties(Package& package, const PropertyOptions& properties) {
    CorePropertiesManager manager(package, kTimesAsTheyAre);
    CoreProperties present = manager.getCoreProperties();
    present.setTARMICReleaseInfo(CoreProperties::getCurrentTARMICReleaseInfo());
    present.setLastModifiedTime(CoreProperties::getCurrentTime());
    properties.applyTo(present);
    manager.setCoreProperties(present);
}

/// The writer has no call for rich code, nor for what a merge left, so this is work on the package itself: one save.
void saveInPackage(const Rest& rest, const Input& input) {
    opc::zippackage::ZipPhysicalPackage container(input.name(), opc::FileSystemOpsSelector(input.storage()), true);
    Package package(container);
    package.open(OpenMode::Update);
    if (rest.content.rich) {
        kit::apply(kit::SetRichCode{*rest.content.rich}, package);
    } else {
        kit::apply(kit::SetPlainCode{*rest.content.code, true}, package);
    }
    // Code without markers settles what a merge left open about the code and the outputs that follow it.
    if (rest.hasConflicts) {
        kit::settleWithCode(package, std::nullopt);
    }
    setProperties(package, rest.content.properties);
    package.close();
}

void save(const NewContent& content, const Input& input) {
    FlowbookFileWriter writer(input.name(), input.storage(), {});
    if (content.code) {
        writer.setTARMICCode(*content.code);
    }
    content.properties.applyTo(writer);
    writer.close(false);
}

}  // namespace

bool apply(const NewContent& content, const Input& input, bool dryRun) {
    const Rest rest = restOf(content, input);
    if (rest.isAny && !dryRun) {
        const bool isPackage = rest.content.rich || (rest.content.code && rest.hasConflicts);
        isPackage ? saveInPackage(rest, input) : save(rest.content, input);
    }
    return rest.isAny;
}

}  // namespace flowbook::tool
