#include "kit/compare/CodeMerge.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileReader.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "flowbook/FlowbookFileWriter.hpp"
#include "foundation/storage/vfs/MemoryStorage.hpp"
#include "kit/compare/ParagraphLines.hpp"
#include "kit/compare/ThreeWay.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/model/InvalidXMLDocument.hpp"

#include <algorithm>
#include <memory>

namespace flowbook::kit {

namespace {

using Namespaces = std::map<std::string, std::string>;

bool isPlainOrNone(const CodeVersion& version) {
    return version.form == CodeForm::Plain || version.form == CodeForm::None;
}

/// The code as lines that each end in a line feed; nothing when there is none.
std::string linesOf(const CodeVersion& version) {
    if (version.form == CodeForm::None) {
        return "";
    }
    opc::ByteArrayInAdaptor stream(version.content);
    return fl::i18n::to_string(FlowbookFileUtils::getTARMICCodeFromRichTARMICCode(stream)) + "\n";
}

/// The document that the library makes of plain code.
fl::Bytes plainDocument(std::string lines) {
    if (!lines.empty()) {
        lines.pop_back();
    }
    using foundation::storage::vfs::MemoryStorage;
    const foundation::storage::vfs::StorageSystemReference storage(std::make_shared<MemoryStorage>());
    // An address, as the writer looks for the folder of a plain path.
    const std::u16string name = u"memory://code.tqx";
    FlowbookFileWriter writer(name, storage, {});
    writer.setTARMICCode(fl::i18n::to_ustring(lines));
    writer.close(false);
    return Document(name, storage).storedCode();
}

std::optional<MergedCode> mergePlain(const CodeVersion& base, const CodeVersion& ours, const CodeVersion& theirs,
                                     const LineMerger& merger, Favour favour) {
    LineMerger::Result merged;
    try {
        const std::string lines[] = {linesOf(base), linesOf(ours), linesOf(theirs)};
        merged = merger.merge(lines[0], lines[1], lines[2], favour);
    } catch (const opc::model::InvalidXMLDocument&) {
        return std::nullopt;
    }
    return MergedCode{{CodeForm::Plain, plainDocument(std::move(merged.text))}, merged.hasConflicts};
}

/// Takes over what theirs alone changed. @returns whether both did.
bool mergeFrame(const std::string& base, std::string& ours, const std::string& theirs, Favour favour) {
    const Choice choice = choose(base, ours, theirs);
    const bool isConflict = choice == Choice::Conflict;
    if (choice == Choice::Theirs || (isConflict && favour == Favour::Theirs)) {
        ours = theirs;
    }
    return isConflict && favour == Favour::None;
}

/// Whether no prefix means two things. One that the merged document does not declare makes it malformed.
bool agree(const Namespaces& some, const Namespaces& others) {
    const auto isSame = [&](const Namespaces::value_type& each) {
        const auto other = others.find(each.first);
        return other == others.end() ? !each.first.empty() : other->second == each.second;
    };
    return std::all_of(some.begin(), some.end(), isSame);
}

bool isWellFormed(const fl::Bytes& document) { return readRichText(document, "").fault.empty(); }

std::optional<MergedCode> mergeRich(const ParagraphLines& base, ParagraphLines ours, const ParagraphLines& theirs,
                                    const LineMerger& merger, Favour favour) {
    if (!agree(ours.namespaces, base.namespaces) || !agree(ours.namespaces, theirs.namespaces) ||
        !agree(theirs.namespaces, ours.namespaces)) {
        return std::nullopt;
    }
    bool hasConflicts = mergeFrame(base.head, ours.head, theirs.head, favour);
    hasConflicts = mergeFrame(base.tail, ours.tail, theirs.tail, favour) || hasConflicts;
    LineMerger::Result merged = merger.merge(base.lines, ours.lines, theirs.lines, favour);
    ours.lines = std::move(merged.text);
    fl::Bytes document = joinLines(ours);
    if (!isWellFormed(document)) {
        return std::nullopt;
    }
    return MergedCode{{CodeForm::Rich, std::move(document)}, hasConflicts || merged.hasConflicts};
}

}  // namespace

std::optional<MergedCode> mergeCode(const CodeVersion& base, const CodeVersion& ours, const CodeVersion& theirs,
                                    const LineMerger& merger, Favour favour) {
    for (const CodeVersion* version : {&base, &ours, &theirs}) {
        if (version->form == CodeForm::Encrypted) {
            return std::nullopt;
        }
    }
    if (isPlainOrNone(base) && isPlainOrNone(ours) && isPlainOrNone(theirs)) {
        return mergePlain(base, ours, theirs, merger, favour);
    }
    const bool isAllRich = ours.form == CodeForm::Rich && theirs.form == CodeForm::Rich && base.form != CodeForm::Plain;
    const auto ourLines = cutIntoLines(ours.content, isAllRich);
    const auto theirLines = cutIntoLines(theirs.content, isAllRich);
    auto baseLines = base.form == CodeForm::None ? ourLines : cutIntoLines(base.content, isAllRich);
    if (!baseLines || !ourLines || !theirLines) {
        return std::nullopt;
    }
    if (base.form == CodeForm::None) {
        baseLines->lines.clear();
    }
    return mergeRich(*baseLines, *ourLines, *theirLines, merger, favour);
}

}  // namespace flowbook::kit
