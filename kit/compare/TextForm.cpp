// The text of a flowbook for `git diff`. Equal contents give equal texts and different contents different ones, so what
// a line does not show in words stands in it as a digest: of the markup around code, and of each paragraph of prose
// that is written in another way than the plainest. Ids and the order of parts are left out where they mean nothing.
#include "kit/compare/TextForm.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/document/References.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <iterator>
#include <new>
#include <set>

namespace flowbook::kit {

using opc::model::Part;
using opc::model::Relationship;

namespace {

using fl::i18n::to_string;

constexpr std::string_view kMarkup = "[markup";  // opens the digest behind a line of prose

bool isControl(char16_t unit) { return (unit < 0x20 && unit != u'\t') || (unit >= 0x7F && unit < 0xA0); }

std::string sizeAndDigest(std::size_t size, const std::string& digest) {
    return std::to_string(size) + " bytes, sha256 " + digest;
}

class TextWriter {
public:
    std::string take() { return std::move(text_); }

    void line(const std::string& text) { text_ += text + "\n"; }

    /// The lines of the text, the first one behind `first`, others behind as many blanks.
    void lines(std::string first, std::string_view text) {
        std::size_t at = 0;
        for (bool more = true; more; first.assign(first.size(), ' ')) {
            const std::size_t end = text.find('\n', at);
            more = end != std::string_view::npos;
            const std::string content = withoutControls(text.substr(at, end - at));
            line(content.empty() ? first.substr(0, first.find_last_not_of(' ') + 1) : first + content);
            at = end + 1;
        }
    }

    /// A failure of the work is written in its place.
    template <class Work>
    void attempt(const std::string& before, Work work) {
        try {
            work();
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& failure) {
            line(before + "[damaged: " + withoutControls(failure.what()) + "]");
        }
    }

private:
    std::string text_;
};

void writeProperty(TextWriter& out, const Property& property) {
    if (!property.fault.empty()) {
        out.line(property.label + ": [damaged: " + withoutControls(property.fault) + "]");
    } else if (property.value) {
        out.lines(property.label + ": ", *property.value);
    }
}

void writeProperties(TextWriter& out, const Document& document) {
    for (const Property& property : document.properties()) {
        // The time of each save would be a difference in every commit.
        if (property.label != "modified") {
            writeProperty(out, property);
        }
    }
}

template <class Key>
std::vector<Part> sortedParts(const Document& document, Key key) {
    std::vector<Part> parts = document.package().getParts();
    std::sort(parts.begin(), parts.end(), [&](const Part& a, const Part& b) { return key(a) < key(b); });
    return parts;
}

/// Digests of decoded pictures are those of the files that users have, so they can be compared with sha256sum.
/// A picture in its usual form is described as decoded; of any other form, the stored bytes are described too.
std::string describePicture(const Part& part) {
    const fl::Bytes content = contentOf(part);
    const std::string stored = sizeAndDigest(content.size(), sha256(content));
    if (!isDataUri(content)) {
        return stored + " [no data URI]";
    }
    const DataUri uri = readDataUri(content, "the picture");
    const std::string usual =
        writeDataUri({"data:" + to_string(part.getContentType().toString()) + ";base64", uri.content});
    const bool isUsual = std::equal(usual.begin(), usual.end(), content.begin(), content.end(),
                                    [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
    return sizeAndDigest(uri.content.size(), sha256(uri.content)) + (isUsual ? "" : ", stored " + stored);
}

std::string_view bytesIn(const fl::Bytes& document, XmlSpan span) {
    return {reinterpret_cast<const char*>(document.data()) + span.begin, span.end - span.begin};
}

/// A paragraph of code alone, as this library's programs write it: its lines hold all of it.
bool isShownByItsLines(std::string_view bytes, const std::string& code) {
    return bytes == newCodeParagraph(code, false);
}

/// Whether the line of some prose holds all that a run is, and no other run would give the same line.
bool isShownByItsLine(const Run& run) {
    const bool isPlain = run.link.empty() && run.picture.empty() && !run.underline && !run.strike;
    return isPlain && !run.text.empty() && run.text.find_first_of("*\t\n") == std::string::npos &&
           run.text.find(kMarkup) == std::string::npos && withoutControls(run.text) == run.text;
}

/// The one markup that a line of prose stands for; empty for prose of which its line does not hold all.
/// @param keepsSpace  whether each text says that its white space counts, or just those with a blank at an end.
std::string plainestMarkup(const Paragraph& paragraph, bool keepsSpace) {
    std::string markup = "<w:p>";
    if (!paragraph.style.empty()) {
        markup += "<w:pPr><w:pStyle w:val=\"" + escapedValue(paragraph.style) + "\"/></w:pPr>";
    }
    bool isShown =
        paragraph.style.find(']') == std::string::npos && withoutControls(paragraph.style) == paragraph.style;
    bool hadLook = false;
    for (const Run& run : paragraph.runs) {
        const std::string look = std::string(run.bold ? "<w:b/>" : "") + (run.italic ? "<w:i/>" : "");
        isShown = isShown && isShownByItsLine(run) && !(hadLook && !look.empty());
        hadLook = !look.empty();
        const bool hasBlankEnd = !run.text.empty() && (run.text.front() == ' ' || run.text.back() == ' ');
        markup += "<w:r>" + (look.empty() ? "" : "<w:rPr>" + look + "</w:rPr>") + "<w:t" +
                  (keepsSpace || hasBlankEnd ? " xml:space=\"preserve\"" : "") + ">" + escapedText(run.text) +
                  "</w:t></w:r>";
    }
    const bool isEmpty = paragraph.style.empty() && paragraph.runs.empty();
    return isEmpty ? "<w:p/>" : isShown ? markup + "</w:p>" : "";
}

/// Programs write xml:space always, or only where it is needed; either is plain if the document does it throughout.
/// Which of both ways a document has for its prose, by the first paragraph that shows it.
bool keepsSpace(const fl::Bytes& document, const RichText& text) {
    for (const Paragraph& each : text.paragraphs) {
        const std::string_view bytes = each.code ? "" : bytesIn(document, each.span);
        const bool isKept = bytes == plainestMarkup(each, true);
        if (isKept != (bytes == plainestMarkup(each, false))) {
            return isKept;
        }
    }
    return false;
}

/// The digest that the line of some prose ends in; empty where its words hold all of it.
std::string proseDigest(std::string_view bytes, const Paragraph& paragraph, bool keepsSpace) {
    constexpr std::size_t kLength = 16;
    return bytes == plainestMarkup(paragraph, keepsSpace) ? "" : Sha256().add(bytes).take().substr(0, kLength);
}

/// Whether each paragraph is neither in another one nor has any in it, so that its line can hold all of it.
std::vector<bool> standAlone(const std::vector<Paragraph>& paragraphs) {
    std::vector<bool> result;
    std::size_t end = 0;
    for (std::size_t i = 0; i < paragraphs.size(); ++i) {
        const XmlSpan span = paragraphs[i].span;
        const bool hasNone = i + 1 == paragraphs.size() || paragraphs[i + 1].span.begin >= span.end;
        result.push_back(span.begin >= end && hasNone);
        end = std::max(end, span.end);
    }
    return result;
}

/// The markup of rich code: what its lines do not hold.
std::string markupDigest(const fl::Bytes& document, const RichText& text) {
    Sha256 digest;
    std::size_t done = 0;
    // Lines that share a paragraph look like lines that do not; the frames of their paragraphs show which it is.
    const bool hasLines = std::any_of(text.paragraphs.begin(), text.paragraphs.end(), [](const Paragraph& each) {
        return each.code && each.code->find('\n') != std::string::npos;
    });
    const std::vector<bool> alone = standAlone(text.paragraphs);
    digest.add(std::string_view(keepsSpace(document, text) ? "\2" : ""));
    for (std::size_t i = 0; i < text.paragraphs.size(); ++i) {
        const Paragraph& paragraph = text.paragraphs[i];
        if (!paragraph.code) {
            if (alone[i]) {
                digest.add(bytesIn(document, {done, paragraph.span.begin}));
                digest.add(std::string_view(paragraph.isBlock ? "" : "\1"));
                done = paragraph.span.end;
            }
            continue;
        }
        const bool isShown = !hasLines && isShownByItsLines(bytesIn(document, paragraph.span), *paragraph.code);
        const XmlSpan leftOut = isShown ? paragraph.span : paragraph.codeText;
        const bool isCdata = !isShown && startsWith(bytesIn(document, leftOut), "<![CDATA[");
        digest.add(bytesIn(document, {done, leftOut.begin})).add(std::string_view(isCdata ? "CDATA" : ""));
        done = leftOut.end;
    }
    return digest.add(bytesIn(document, {done, document.size()})).take();
}

std::string describeCode(const Document& document, const Part& part) {
    const fl::Bytes content = contentOf(part);
    if (document.form() == CodeForm::Encrypted) {
        return sizeAndDigest(content.size(), sha256(content));
    }
    const fl::Bytes utf8 = document.codeInUtf8();
    const RichText text = readRichText(utf8, "");
    if (!text.fault.empty()) {
        return sizeAndDigest(content.size(), sha256(content));
    }
    return "markup sha256 " + markupDigest(utf8, text);
}

/// What an output shows: its text, if it is one.
bool isText(const fl::Bytes& content) {
    const std::string text(content.begin(), content.end());
    return isUtf8(text) && text.find('\0') == std::string::npos && text.find('\r') == std::string::npos;
}

/// The parts that hold outputs, in the order of their relationships.
std::vector<Part> outputsOf(const Document& document) {
    std::vector<Part> outputs;
    const std::u16string type = FlowbookFilePackage::getPackageRelationshipTypes().at(1);
    for (const Relationship& each : document.package().getRelationshipsByType(type)) {
        try {
            outputs.push_back(document.package().getPart(opc::model::PartName(each.getTargetURI())));
        } catch (const opc::Exception&) {
            // The line of the relationship names it.
        }
    }
    return outputs;
}

void writeRelationships(TextWriter& out, const std::string& source, const opc::model::RelationshipSource& from,
                        bool withIds) {
    std::vector<std::string> lines;
    for (const Relationship& relationship : from.getRelationships(opc::model::ExcludeMode::None)) {
        const bool isInternal = relationship.getTargetMode() == opc::model::TargetMode::Internal;
        lines.push_back("relationship " + source + " " + (withIds ? to_string(relationship.getID()) + " " : "") +
                        to_string(relationship.getType()) + (isInternal ? " -> " : " => ") + targetOf(relationship));
    }
    // The order of relationships means nothing, and programs that save change it.
    std::sort(lines.begin(), lines.end());
    for (const std::string& line : lines) {
        out.line(withoutControls(line));
    }
}

/// What no other line says of a part.
std::string describeContent(const Document& document, const Part& part, const std::set<std::string>& printed) {
    const auto code = document.codePart();
    if (isPicture(part)) {
        return ", " + describePicture(part);
    }
    if (code && code->getName() == part.getName()) {
        return ", " + describeCode(document, part);
    }
    const bool isPrinted = isCoreProperties(part) || printed.count(part.getName().folded()) != 0;
    return isPrinted ? "" : ", " + sizeAndDigest(part.getSize(), partDigest(part));
}

void writeParts(TextWriter& out, const Document& document, const std::set<std::string>& printed) {
    const std::vector<Part> parts = sortedParts(document, [](const Part& part) { return part.getName().folded(); });
    for (const Part& part : parts) {
        const std::string start = (isPicture(part) ? "picture " : "part ") + part.getName().ascii() + " ";
        out.attempt(start, [&] {
            out.line(start + withoutControls(to_string(part.getContentType().toString())) +
                     describeContent(document, part, printed));
        });
    }
    out.attempt("relationship / ", [&] { writeRelationships(out, "/", document.package(), false); });
    for (const Part& part : parts) {
        const std::string& name = part.getName().ascii();
        out.attempt("relationship " + name + " ", [&] { writeRelationships(out, name, part, true); });
    }
}

std::string marked(const Run& run) {
    if (!run.picture.empty()) {
        return "[picture " + run.picture + "]";
    }
    // Markdown's marks, since people know how to read them. The text form is never read back.
    const std::string mark = std::string(run.bold ? "**" : "") + (run.italic ? "*" : "");
    return mark + run.text + std::string(mark.rbegin(), mark.rend());
}

/// @param digest  of the markup, where the line is to hold it.
void writeParagraph(TextWriter& out, const Paragraph& paragraph, const std::string& digest) {
    if (paragraph.code) {
        out.lines("  ", *paragraph.code);
        return;
    }
    std::string text;
    for (const Run& run : paragraph.runs) {
        text += marked(run);
    }
    text += digest.empty() ? "" : " " + std::string(kMarkup) + " " + digest + "]";
    out.lines("[" + withoutControls(paragraph.style) + "] ", text);
}

void writeCode(TextWriter& out, const Document& document) {
    out.line("");
    if (document.form() == CodeForm::Encrypted) {
        const fl::Bytes code = document.storedCode();
        out.line("[encrypted, " + sizeAndDigest(code.size(), sha256(code)) + "]");
        return;
    }
    const std::optional<Part> part = document.codePart();
    const fl::Bytes stored = document.codeInUtf8();
    const RichText text = part ? readRichText(stored, document.where(*part)) : RichText();
    const std::vector<bool> alone = standAlone(text.paragraphs);
    const bool keeps = keepsSpace(stored, text);
    for (std::size_t i = 0; i < text.paragraphs.size(); ++i) {
        const Paragraph& paragraph = text.paragraphs[i];
        const bool isShown = !paragraph.code && alone[i];
        writeParagraph(out, paragraph, isShown ? proseDigest(bytesIn(stored, paragraph.span), paragraph, keeps) : "");
    }
    if (!text.fault.empty()) {
        out.line("[damaged: " + withoutControls(text.fault) + "]");
    }
}

/// What the core properties hold besides those that have a line of their own.
void writeOtherProperties(TextWriter& out, const Document& document) {
    constexpr std::string_view kWritten[] = {"title", "description", "version", "created"};
    for (const Part& part : document.package().getParts()) {
        for (const std::string& element :
             isCoreProperties(part) ? propertyElements(contentOf(part)) : std::vector<std::string>()) {
            const std::string name = element.substr(0, element.find_first_of(" >"));
            const std::string local = name.substr(name.find('|') + 1);
            if (std::find(std::begin(kWritten), std::end(kWritten), local) == std::end(kWritten)) {
                out.lines("property: ", element);
            }
        }
    }
}

/// Markup with an element a line: "|" opens the lines that are lines of the text itself.
void writeMarkup(TextWriter& out, std::string_view text) {
    std::string start = "| ";
    while (!text.empty()) {
        const std::size_t tag = std::min(text.find("><"), text.size() - 1) + 1;
        const std::size_t line = text.find('\n');
        const std::size_t end = std::min(tag, line);
        out.line(start + withoutControls(text.substr(0, end)));
        start = line < tag ? "| " : "  ";
        text.remove_prefix(line < tag ? end + 1 : end);
    }
}

void writeOutputs(TextWriter& out, const std::vector<Part>& outputs) {
    for (const Part& output : outputs) {
        out.line("");
        out.attempt("output " + output.getName().ascii() + " ", [&] {
            const fl::Bytes content = contentOf(output);
            out.line("output " + output.getName().ascii());
            writeMarkup(out, asText(content));
        });
    }
}

/// The outputs that are printed as text.
std::vector<Part> printedOutputs(const Document& document) {
    std::vector<Part> printed;
    for (const Part& output : outputsOf(document)) {
        try {
            if (!isPicture(output) && isText(contentOf(output))) {
                printed.push_back(output);
            }
        } catch (const opc::Exception&) {
            // The line of the part names it.
        }
    }
    return printed;
}

void writeText(TextWriter& out, const Document& document, bool withOutputs) {
    std::vector<Part> outputs;
    out.attempt("", [&] { outputs = withOutputs ? printedOutputs(document) : outputs; });
    std::set<std::string> printed;
    for (const Part& output : outputs) {
        printed.insert(output.getName().folded());
    }
    out.attempt("code: ", [&] { out.line(std::string("code: ") + nameOf(document.form())); });
    writeProperties(out, document);
    out.attempt("properties: ", [&] { writeOtherProperties(out, document); });
    out.attempt("", [&] { writeParts(out, document, printed); });
    out.attempt("", [&] { writeCode(out, document); });
    writeOutputs(out, outputs);
}

}  // namespace

std::string textForm(const std::u16string& name, const foundation::storage::vfs::StorageSystemReference& storage,
                     bool outputs) {
    TextWriter out;
    out.attempt("", [&] { writeText(out, Document(name, storage), outputs); });
    return out.take();
}

std::string withoutControls(std::string_view utf8) {
    if (std::none_of(utf8.begin(), utf8.end(),
                     [](char c) { return isControl(static_cast<unsigned char>(c)) || c == '\x7F'; })) {
        return std::string(utf8);
    }
    std::u16string result;
    for (const char16_t unit : fl::i18n::to_ustring(utf8)) {
        result += isControl(unit) ? fl::i18n::to_ustring(escapeOf(unit)) : std::u16string(1, unit);
    }
    return fl::i18n::to_string(result);
}

}  // namespace flowbook::kit
