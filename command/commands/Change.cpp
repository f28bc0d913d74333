#include "commands/Change.hpp"

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
        if (unit != u'\n' || before != u'\r') {
            text.push_back(unit == u'\r' ? u'\n' : unit);
        }
        before = unit;
    }
    return text;
}

bool hasCode(const Change& change, const kit::Document& document) {
    const kit::CodeForm form = document.form();
    if (change.rich) {
        return form == kit::CodeForm::Rich && document.storedCode() == *change.rich;
    }
    const bool isReadable = form == kit::CodeForm::Plain || (form == kit::CodeForm::Rich && !change.flatten);
    return !change.code || (isReadable && document.code() == asStored(*change.code));
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

void requireReplaceable(const Change& change, const kit::Document& document) {
    if (document.form() == kit::CodeForm::Encrypted && !change.replaceEncrypted) {
        throw Failure(ExitCode::Encrypted, "the code is encrypted; --replace-encrypted replaces it");
    }
}

/// The rich code document with this plain code in its paragraphs; nothing when it is not clear which line belongs
/// where.
std::optional<Bytes> withCodeInParagraphs(const Change& change, const kit::Document& document) {
    if (change.flatten || document.form() != kit::CodeForm::Rich || !document.richText().fault.empty()) {
        return std::nullopt;
    }
    const Bytes stored = document.storedCode();
    const auto divided = kit::divideCode(kit::codeParagraphs(stored), fl::i18n::to_string(*change.code));
    return divided ? std::make_optional(kit::withCodeParagraphs(stored, *divided)) : std::nullopt;
}

/// What is left to do of a change.
struct Rest {
    Change change;
    bool isAny = true;          ///< whether anything is
    bool hasConflicts = false;  ///< whether a merge left something that is settled with the code
};

/// @throws Failure when the code would replace more than code.
Rest restOf(const Change& change, const Input& input) {
    const kit::Document document = openDocument(input);
    Rest rest{change};
    if (hasCode(change, document)) {
        rest.change.code.reset();
        rest.change.rich.reset();
        rest.isAny = !change.properties.agreeWith(document.properties());
        return rest;
    }
    requireReplaceable(change, document);
    rest.hasConflicts = !document.package().getRelationshipsByType(kit::kConflictType).empty();
    if (change.code) {
        rest.change.rich = withCodeInParagraphs(change, document);
    }
    if (rest.change.rich) {
        rest.change.code.reset();
    } else if (!change.flatten) {
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
    if (rest.change.rich) {
        kit::apply(kit::SetRichCode{*rest.change.rich}, package);
    } else {
        kit::apply(kit::SetPlainCode{*rest.change.code, true}, package);
    }
    if (rest.hasConflicts) {
        kit::settleWithCode(package, std::nullopt);
    }
    setProperties(package, rest.change.properties);
    package.close();
}

void save(const Change& change, const Input& input) {
    FlowbookFileWriter writer(input.name(), input.storage(), {});
    if (change.code) {
        writer.setTARMICCode(*change.code);
    }
    change.properties.applyTo(writer);
    writer.close(false);
}

}  // namespace

bool apply(const Change& change, const Input& input, bool dryRun) {
    const Rest rest = restOf(change, input);
    if (rest.isAny && !dryRun) {
        const bool isPackage = rest.change.rich || (rest.change.code && rest.hasConflicts);
        isPackage ? saveInPackage(rest, input) : save(rest.change, input);
    }
    return rest.isAny;
}

}  // namespace flowbook::tool
