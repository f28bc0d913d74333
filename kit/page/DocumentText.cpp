#include "kit/page/DocumentText.hpp"

#include "kit/document/StoredText.hpp"
#include "kit/page/BlockKinds.hpp"
#include "kit/page/Blocks.hpp"
#include "kit/page/Links.hpp"
#include "kit/page/Wording.hpp"

namespace flowbook::kit {

namespace {

constexpr std::size_t kMostStored = std::size_t{1} << 20;

std::string languageIn(const XmlNode& node) {
    const std::string_view own = node.local == "lang" ? node.attribute("val") : std::string_view();
    if (isLanguage(own)) {
        return std::string(own);
    }
    for (const XmlNode& child : node.children) {
        if (std::string found = languageIn(child); !found.empty()) {
            return found;
        }
    }
    return {};
}

/// What stands behind a fault is nothing that can be read, so it is shown as text.
void writeRest(Markup& out, const fl::Bytes& stored, std::size_t from) {
    const std::string rest = textIn(stored, from);
    const std::string_view shown = startOf(rest, kMostStored);
    if (isBlankText(rest)) {
        return;
    }
    const std::string label = "What follows, as it is stored";
    out.element("p", {{"class", "remark"}, {"lang", "en"}}, label + ":");
    out.open("pre", {{"class", "plain"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
    out.open("code", {{"class", "beside"}, {"translate", "no"}}).text(shown).close().close();
    if (shown.size() < rest.size()) {
        out.element("p", {{"class", "remark"}}, "[" + counted(rest.size() - shown.size(), "byte") + " left out]");
    }
}

/// @param place  the id of where the text refers to the note; empty for nowhere.
void writeNote(Markup& out, const Notes::Note& note, const std::string& id, const std::string& place,
               const Markup& text) {
    out.open("div", {{"class", "box"}, {"id", id}}).open("p", {{"class", "remark"}, {"lang", "en"}});
    out.text(note.name + (note.about.empty() ? "" : ", " + note.about));
    if (!place.empty()) {
        out.text(" ").element("a", {{"href", "#" + place}}, "Back to the text");
    }
    out.close().append(text).close();
}

void showAll(Markup& out, Faults& faults, const std::vector<PageFault>& found) {
    for (const PageFault& fault : found) {
        faults.show(out, fault.words, fault.isOfLimit);
    }
}

}  // namespace

DocumentText::DocumentText(const Document& document, const fl::Bytes* remains) : document_(&document) {
    const std::optional<opc::model::Part> part = document.codePart();
    if (part && formOf(*part) != CodeForm::Encrypted) {
        part_ = part;
        stored_ = remains == nullptr ? contentOf(*part) : *remains;
        code_ = readCodeTree(stored_, document.where(*part));
        definitions_.emplace(document);
    }
}

void DocumentText::showFaults(Markup& out, Faults& faults) const {
    const bool isMended = !code_.fault.empty() && !code_.rest;
    if (isMended) {
        faults.show(out, code_.fault, code_.tree.isOverLimit);
        out.open("p", {{"class", "remark"}, {"lang", "en"}});
        out.text("All text that is left of the damaged document is shown, as code where it seems to have been code. "
                 "\uFFFD stands for what is no character.");
        out.close();
    } else if (code_.encoding != XmlEncoding::Utf8) {
        faults.show(out, document_->where(*part_) + ": is not UTF-8, as its readers expect; this page reads it as it "
                                                    "declares to be");
    }
}

std::optional<std::size_t> DocumentText::write(Markup& out, Figures& figures, Faults& faults, Markup& outline) const {
    if (!part_) {
        return std::nullopt;
    }
    showFaults(out, faults);
    const Definitions& definitions = *definitions_;
    showAll(out, faults, definitions.faults());
    const XmlNode* const root = code_.tree.root();
    Headings headings(root == nullptr ? std::vector<int>() : headingStylesIn(*root, definitions.styles()));
    Markup text;
    const Notes notes(*document_);
    showAll(out, faults, notes.faults());
    Links links(figures, notes, root);
    Blocks blocks(text, figures, links, definitions, headings);
    blocks.write(root);
    Markup ofNotes;
    const bool hasTextBesideCode = writeNotes(ofNotes, figures, links, headings, notes) || blocks.hasTextBesideCode();
    if (hasTextBesideCode) {
        out.open("p", {{"class", "remark"}, {"lang", "en"}}).element("span", {{"class", "beside"}}, "Text set off so");
        out.text(" stands beside the code: programs that read the code do not see it.").close();
    }
    out.append(text);
    if (code_.rest) {
        faults.show(out, code_.fault, code_.tree.isOverLimit);
        writeRest(out, stored_, *code_.rest);
    }
    out.append(ofNotes);
    headings.writeOutline(outline);
    const bool isWhole = code_.fault.empty() || blocks.lineCount() != 0;
    return isWhole ? std::make_optional(blocks.lineCount()) : std::nullopt;
}

/// Writes all notes but those that nothing refers to and that show nothing, such as the lines above footnotes.
/// @returns whether text in the style of code is in them.
bool DocumentText::writeNotes(Markup& out, Figures& figures, Links& links, Headings& headings,
                              const Notes& notes) const {
    Markup all;
    bool hasTextBesideCode = false;
    const Notes::Note* last = nullptr;
    const auto ofDocument = figures.follow({});
    for (const Notes::Note& note : notes.all()) {
        if (last == nullptr || last->part != note.part) {
            figures.follow(notes.relationshipsOf(note));
        }
        last = &note;
        Markup text;
        Blocks blocks(text, figures, links, *definitions_, headings);
        blocks.writeInside(*note.text);
        const auto [id, place] = links.idsOfNote(note.name);
        if (text.finished().empty() && place.empty()) {
            continue;
        }
        writeNote(all, note, id, place, text);
        hasTextBesideCode = hasTextBesideCode || blocks.hasTextBesideCode();
    }
    figures.follow(ofDocument);
    if (!all.finished().empty()) {
        out.open("section", {{"aria-labelledby", "notes"}}).element("h2", {{"id", "notes"}, {"lang", "en"}}, "Notes");
        out.append(all).close();
    }
    return hasTextBesideCode;
}

std::string DocumentText::language() const {
    const bool isOfStyles = definitions_ && !definitions_->styles().language().empty();
    return isOfStyles ? definitions_->styles().language() : languageIn(code_.tree.document);
}

}  // namespace flowbook::kit
