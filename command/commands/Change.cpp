#include "commands/Change.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "io/OpenDocument.hpp"
#include "kit/compare/Conflicts.hpp"
#include "kit/document/AroundCode.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/RichCodePart.hpp"
#include "kit/document/SearchedText.hpp"
#include "opc/pxservices/CorePropertiesManager.hpp"
#include "opc/zippackage/ZipPhysicalPackage.hpp"
#include "terminal/Failure.hpp"

#include <algorithm>

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

/// Reduces a change to what is left to do.
/// @param hasOutputs  becomes whether a merge left outputs that the change is to settle.
/// @returns whether anything is. @throws Failure when the code would replace more than code.
bool reduce(Change& change, const Input& input, bool& hasOutputs) {
    const kit::Document document = openDocument(input);
    hasOutputs = !change.keepsOutputs && !input.isStandardInput() &&
                 !document.package().getRelationshipsByType(kit::kConflictType).empty();
    if (hasCode(change, document)) {
        change.code.reset();
        change.rich.reset();
        return !change.properties.agreeWith(document.properties());
    }
    requireReplaceable(change, document);
    if (change.code) {
        change.rich = withCodeInParagraphs(change, document);
    }
    if (change.rich) {
        change.code.reset();
    } else if (!change.flatten) {
        requireOnlyCode(document);
    }
    return true;
}

void setProperties(Package& package, const PropertyOptions& properties) {
    CorePropertiesManager manager(package, kTimesAsTheyAre);
    CoreProperties present = manager.getCoreProperties();
    present.setTARMICReleaseInfo(CoreProperties::getCurrentTARMICReleaseInfo());
    present.setLastModifiedTime(CoreProperties::getCurrentTime());
    properties.applyTo(present);
    manager.setCoreProperties(present);
}

/// The writer has no call for rich code, so this is its work on the package itself.
void saveRich(const Change& change, const Input& input) {
    opc::zippackage::ZipPhysicalPackage container(input.name(), opc::FileSystemOpsSelector(input.storage()), true);
    Package package(container);
    package.open(OpenMode::Update);
    kit::richCodePart(package).getOutputStream()->write(change.rich->data(), change.rich->size());
    setProperties(package, change.properties);
    package.close();
}

/// Outputs that a merge kept until its code is settled go once no version of it is left to choose.
void settleOutputs(const std::string& file) {
    const Input input(file, Input::Purpose::Update);
    std::vector<kit::OpenConflict> open = kit::openConflicts(openDocument(input));
    const auto isOf = [](kit::OpenConflict::Kind kind) {
        return [kind](const kit::OpenConflict& each) { return each.kind == kind; };
    };
    const auto end = std::partition(open.begin(), open.end(), isOf(kit::OpenConflict::Kind::Outputs));
    if (end == open.begin() || std::any_of(end, open.end(), isOf(kit::OpenConflict::Kind::Code))) {
        return;
    }
    opc::zippackage::ZipPhysicalPackage container(input.name(), opc::FileSystemOpsSelector(input.storage()), true);
    Package package(container);
    package.open(OpenMode::Update);
    std::for_each(open.begin(), end, [&](const auto& each) { kit::settle(package, each, kit::Side::Ours); });
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
    Change rest = change;
    bool hasOutputs = false;
    const bool isLeft = reduce(rest, input, hasOutputs);
    if (isLeft && !dryRun) {
        rest.rich ? saveRich(rest, input) : save(rest, input);
        if (hasOutputs && (rest.rich || rest.code)) {
            settleOutputs(input.argument());
        }
    }
    return isLeft;
}

}  // namespace flowbook::tool
