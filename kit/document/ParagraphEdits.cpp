// Changes the text of paragraphs within the bytes of a document. Only the characters that differ are replaced, in the
// elements that hold them, so formatting, links and pictures around them stay byte for byte.
#include "kit/document/ParagraphEdits.hpp"

#include "kit/document/Characters.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/References.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <map>
#include <string_view>

namespace flowbook::kit {

namespace {

using EditKind = ParagraphEdit::Kind;

[[noreturn]] void refuseEdit(const std::string& words) { throw opc::Exception(opc::ErrorKind::Misuse, words); }

/// An element that gives a paragraph some of its text.
struct Atom {
    XmlSpan span;
    std::string text;
    bool isText;  ///< whether it holds text, rather than standing for a tab or a line break
};

/// Finds the atoms of all paragraphs, by where those begin.
class AtomHandler : public XmlHandler {
public:
    void startElement(const XmlName& name, const std::vector<XmlAttribute>&, XmlSpan tag) override {
        const bool isWord = name.ns == kWordNamespace;
        const std::string_view local = isWord ? name.local : std::string_view();
        if (local == "p") {
            inside_.push_back(tag.begin);
        } else if (!inside_.empty() && local == "t") {
            atoms[inside_.back()].push_back({tag, "", true});
            // A tab in the settings of a paragraph is a tab stop and no text.
        } else if (!inside_.empty() && ((local == "tab" && open_.back() == "r") || local == "br" || local == "cr")) {
            atoms[inside_.back()].push_back({tag, local == "tab" ? "\t" : "\n", false});
        }
        open_.emplace_back(local);
    }

    void endElement(const XmlName&, XmlSpan tag) override {
        const std::string local = open_.back();
        open_.pop_back();
        if (local == "p") {
            inside_.pop_back();
        } else if (!inside_.empty() && (local == "t" || local == "br" || local == "cr" || local == "tab")) {
            std::vector<Atom>& all = atoms[inside_.back()];
            if (!all.empty()) {
                // An element that closes itself ends where it began; its end is reported with the same tag.
                all.back().span.end = std::max(all.back().span.end, tag.end);
            }
        }
    }

    void characters(std::string_view text) override {
        if (!inside_.empty() && open_.back() == "t") {
            atoms[inside_.back()].back().text += text;
        }
    }

    std::map<std::size_t, std::vector<Atom>> atoms;

private:
    std::vector<std::string> open_;
    std::vector<std::size_t> inside_;
};

/// Bytes of the document that others take the place of.
struct Splice {
    XmlSpan span;
    std::string text;
};

/// Text within a run: elements for text, line breaks and tabs.
/// @param prefix  of the word namespace, with the colon.
std::string textElements(const std::string& prefix, std::string_view text) {
    const std::string begin = "<" + prefix + "t xml:space=\"preserve\">";
    const std::string end = "</" + prefix + "t>";
    std::string result;
    while (true) {
        const std::size_t at = text.find_first_of("\n\t");
        const std::string_view piece = text.substr(0, at);
        // An empty text becomes one empty element, so that its run keeps its place and its formatting.
        if (!piece.empty() || (result.empty() && at == text.npos)) {
            result.append(begin).append(escapedText(piece)).append(end);
        }
        if (at == text.npos) {
            return result;
        }
        result += "<" + prefix + (text[at] == '\t' ? "tab/>" : "br/>");
        text.remove_prefix(at + 1);
    }
}

/// The part of a text that changes: from `begin` to `end` in the old one, and what takes its place.
struct Changed {
    std::size_t begin;
    std::size_t end;
    std::string_view text;
};

/// What two texts have in common at their begin and end, without cutting a character of several bytes in two.
Changed changeOf(std::string_view old, std::string_view fresh) {
    const std::size_t most = std::min(old.size(), fresh.size());
    std::size_t begin = 0;
    while (begin < most && old[begin] == fresh[begin]) {
        ++begin;
    }
    while (isInsideCharacter(old, begin) || isInsideCharacter(fresh, begin)) {
        --begin;
    }
    std::size_t same = 0;
    while (same < most - begin && old[old.size() - 1 - same] == fresh[fresh.size() - 1 - same]) {
        ++same;
    }
    // It is enough to look at the old text, as both have the same bytes from there on.
    while (isInsideCharacter(old, old.size() - same)) {
        --same;
    }
    return {begin, old.size() - same, fresh.substr(begin, fresh.size() - same - begin)};
}

class Editing {
public:
    explicit Editing(const fl::Bytes& document) : bytes_(asText(document)), text_(requireRichText(document)) {
        readXml(document, "the code", XmlEncoding::Utf8, handler_);
        const std::string_view start = bytes_.substr(0, text_.body.begin);
        const std::string declared = "xmlns:w=\"" + std::string(kWordNamespace) + "\"";
        // Paragraphs are written with the prefix "w:". A document that binds the namespace to another one, or declares
        // it further inside, does not know that prefix.
        declares_ = start.find(declared) == start.npos;
    }

    void add(const ParagraphEdit& edit) {
        const std::size_t count = text_.paragraphs.size();
        if (edit.index > count || (edit.index == count && edit.kind != EditKind::Insert)) {
            refuseEdit("there is no paragraph " + std::to_string(edit.index) + "; there are " + std::to_string(count));
        }
        if (edit.kind == EditKind::Insert) {
            const std::size_t place = edit.index == count ? endOfText() : block(edit.index).span.begin;
            splices_.push_back({{place, place}, newParagraph(edit)});
        } else if (edit.kind == EditKind::Remove) {
            splices_.push_back({block(edit.index).span, ""});
        } else {
            replace(text_.paragraphs[edit.index], edit.text);
        }
    }

    fl::Bytes take() {
        // Edits come in the order of the caller, and each is about the document as it was before all of them.
        std::stable_sort(splices_.begin(), splices_.end(), [](const Splice& a, const Splice& b) {
            return a.span.begin != b.span.begin ? a.span.begin < b.span.begin : a.span.end < b.span.end;
        });
        std::string result;
        std::size_t done = 0;
        for (const Splice& splice : splices_) {
            if (splice.span.begin < done) {
                refuseEdit("two paragraphs are to be changed of which one holds the other, or one twice");
            }
            result.append(bytes_.substr(done, splice.span.begin - done)).append(splice.text);
            done = splice.span.end;
        }
        result.append(bytes_.substr(done));
        return {result.begin(), result.end()};
    }

private:
    const Paragraph& block(std::size_t index) const {
        const Paragraph& paragraph = text_.paragraphs[index];
        if (!paragraph.isBlock) {
            refuseEdit("paragraph " + std::to_string(index) + " stands in a table or box, which stays as it is");
        }
        return paragraph;
    }

    /// Behind the last paragraph, table or the like; the section's properties come last in a body.
    std::size_t endOfText() const {
        std::size_t end = text_.body.begin;
        for (const XmlSpan& each : text_.blocks) {
            const std::string_view tag = bytes_.substr(each.begin, each.end - each.begin);
            const bool isSection = tag.substr(0, tag.find_first_of(" \t\r\n/>", 1)).find("sectPr") != tag.npos;
            end = isSection ? end : each.end;
        }
        if (text_.body.begin == text_.body.end && text_.blocks.empty() && text_.body.begin == 0) {
            refuseEdit("the document has no body");
        }
        return end;
    }

    std::string newParagraph(const ParagraphEdit& edit) const {
        if (edit.style == "code") {
            return newCodeParagraph(edit.text, declares_);
        }
        const std::string declaration = declares_ ? " xmlns:w=\"" + std::string(kWordNamespace) + "\"" : "";
        const std::string style =
            edit.style.empty() ? "" : "<w:pPr><w:pStyle w:val=\"" + escapedValue(storable(edit.style)) + "\"/></w:pPr>";
        return "<w:p" + declaration + ">" + style + "<w:r>" + textElements("w:", storable(edit.text)) + "</w:r></w:p>";
    }

    void replace(const Paragraph& paragraph, const std::string& text) {
        if (paragraph.code) {
            splices_.push_back({paragraph.span, withCode(bytes_, paragraph, paragraph.span.begin, text)});
            return;
        }
        const std::vector<Atom>& atoms = handler_.atoms[paragraph.span.begin];
        const std::string old = paragraph.text();
        const std::string fresh = storable(text);
        // The shorter the change, the fewer elements it touches, and the more formatting stays.
        const Changed changed = changeOf(old, fresh);
        if (changed.begin == changed.end && changed.text.empty()) {
            return;
        }
        if (!replaceIn(atoms, changed)) {
            fillEmpty(paragraph, changed.text);
        }
    }

    /// Changes the atoms that the change touches. The new text goes into the one before it, whose formatting it takes.
    /// @returns false when there are none that could hold it.
    bool replaceIn(const std::vector<Atom>& atoms, const Changed& changed) {
        const Atom* target = targetOf(atoms, changed);
        std::size_t begin = 0;
        for (const Atom& atom : atoms) {
            const std::size_t end = begin + atom.text.size();
            const std::size_t cutBegin = std::clamp(changed.begin, begin, end) - begin;
            const std::size_t cutEnd = std::clamp(changed.end, begin, end) - begin;
            if (&atom == target || cutBegin != cutEnd) {
                const std::string_view added = &atom == target ? changed.text : std::string_view();
                splices_.push_back({atom.span, atom.isText ? changedText(atom, cutBegin, cutEnd, added)
                                                           : changedMark(atom, cutBegin, cutEnd, added)});
            }
            begin = end;
        }
        return target != nullptr || changed.text.empty();
    }

    std::string changedText(const Atom& atom, std::size_t cutBegin, std::size_t cutEnd, std::string_view added) const {
        const std::string rest = atom.text.substr(cutEnd);
        return textElements(prefixOf(atom.span), atom.text.substr(0, cutBegin).append(added).append(rest));
    }

    /// A tab or line break, with new text before or behind it, or in its place.
    std::string changedMark(const Atom& atom, std::size_t cutBegin, std::size_t cutEnd, std::string_view added) const {
        const std::string text = added.empty() ? std::string() : textElements(prefixOf(atom.span), added);
        const std::string kept(cutBegin == cutEnd ? bytes_.substr(atom.span.begin, atom.span.end - atom.span.begin)
                                                  : "");
        return cutBegin == 0 ? text + kept : kept + text;
    }

    /// Of the atoms that the new text can stand in without getting behind or before others: one that holds text, if
    /// there is any, and of these the one before the change.
    static const Atom* targetOf(const std::vector<Atom>& atoms, const Changed& changed) {
        const Atom* target = nullptr;
        int best = 0;
        std::size_t begin = 0;
        for (const Atom& atom : atoms) {
            const std::size_t end = begin + atom.text.size();
            const bool isBefore = begin < changed.begin && changed.begin <= end;
            const bool isBehind = changed.begin <= begin && begin <= changed.end;
            // Typed text takes the formatting of what is before it, as in an editor.
            const int worth = !isBefore && !isBehind ? 0 : (atom.isText ? 2 : 0) + (isBefore ? 2 : 1);
            if (worth > best) {
                target = &atom;
                best = worth;
            }
            begin = end;
        }
        return changed.text.empty() ? nullptr : target;
    }

    /// Of "<w:t>" it is "w:".
    std::string prefixOf(XmlSpan span) const {
        const std::string_view tag = bytes_.substr(span.begin + 1, span.end - span.begin - 1);
        const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n/>"));
        const std::size_t colon = name.find(':');
        return std::string(name.substr(0, colon == name.npos ? 0 : colon + 1));
    }

    void fillEmpty(const Paragraph& paragraph, std::string_view text) {
        const std::string_view bytes = bytes_.substr(paragraph.span.begin, paragraph.span.end - paragraph.span.begin);
        const std::string prefix = prefixOf(paragraph.span);
        const std::string run = "<" + prefix + "r>" + textElements(prefix, text) + "</" + prefix + "r>";
        const bool isClosed = bytes.substr(bytes.size() - 2) == "/>";
        const std::size_t end = isClosed ? bytes.size() - 2 : bytes.rfind("</");
        const std::string close = "</" + prefix + "p>";
        splices_.push_back({paragraph.span, std::string(bytes.substr(0, end)) + (isClosed ? ">" : "") + run + close});
    }

    std::string_view bytes_;
    RichText text_;
    AtomHandler handler_;
    bool declares_ = false;
    std::vector<Splice> splices_;
};

}  // namespace

fl::Bytes withParagraphEdits(const fl::Bytes& document, const std::vector<ParagraphEdit>& edits) {
    const fl::Bytes utf8 = inUtf8(document, "the code");
    Editing editing(utf8);
    for (const ParagraphEdit& edit : edits) {
        editing.add(edit);
    }
    fl::Bytes changed = editing.take();
    if (changed == utf8) {
        return document;
    }
    return changed;
}

}  // namespace flowbook::kit
