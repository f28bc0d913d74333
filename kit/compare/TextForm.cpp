#include "kit/compare/TextForm.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/Document.hpp"
#include "kit/document/Pictures.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <new>

namespace flowbook::kit {

using opc::model::Part;
using opc::model::Relationship;

namespace {

using fl::i18n::to_string;

bool isControl(char16_t unit) { return (unit < 0x20 && unit != u'\t') || (unit >= 0x7F && unit < 0xA0); }

std::string sizeAndDigest(std::size_t size, const std::string& digest) {
    return std::to_string(size) + " bytes, sha256 " + digest;
}

class TextWriter {
public:
    std::string take() { return std::move(text_); }

    void line(const std::string& text) { text_ += text + "\n"; }

    /// Each line of the text behind `first`, or behind as many blanks.
    void lines(std::string first, std::string_view text) {
        std::size_t at = 0;
        for (bool more = true; more; first.assign(first.size(), ' ')) {
            const std::size_t end = text.find('\n', at);
            more = end != std::string_view::npos;
            const std::string content = printable(text.substr(at, end - at));
            line(content.empty() ? first.substr(0, first.find_last_not_of(' ') + 1) : first + content);
            at = end + 1;
        }
    }

    /// A failure of the work is told in its place.
    template <class Work>
    void attempt(const std::string& before, Work work) {
        try {
            work();
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& failure) {
            line(before + "[damaged: " + printable(failure.what()) + "]");
        }
    }

private:
    std::string text_;
};

void tellProperty(TextWriter& out, const Property& property) {
    if (!property.fault.empty()) {
        out.line(property.label + ": [damaged: " + printable(property.fault) + "]");
    } else if (property.value) {
        out.lines(property.label + ": ", *property.value);
    }
}

void tellProperties(TextWriter& out, const Document& document) {
    for (const Property& property : document.properties()) {
        if (property.label != "modified") {
            tellProperty(out, property);
        }
    }
}

template <class Key>
std::vector<Part> sortedParts(const Document& document, Key key) {
    std::vector<Part> parts = document.package().getParts();
    std::sort(parts.begin(), parts.end(), [&](const Part& a, const Part& b) { return key(a) < key(b); });
    return parts;
}

/// A picture in its usual form is told decoded; of any other form, the stored bytes are told too.
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

std::string describeContent(const Part& part) {
    if (isPicture(part)) {
        return describePicture(part);
    }
    return isCoreProperties(part) ? "sha256 " + partDigest(part) : sizeAndDigest(part.getSize(), partDigest(part));
}

void tellPart(TextWriter& out, const Part& part) {
    const std::string start = (isPicture(part) ? "picture " : "part ") + part.getName().ascii() + " ";
    out.attempt(start, [&] {
        out.line(start + printable(to_string(part.getContentType().toString())) + ", " + describeContent(part));
    });
}

void tellRelationships(TextWriter& out, const std::string& source, const opc::model::RelationshipSource& from,
                       bool withIds) {
    std::vector<std::string> lines;
    for (const Relationship& relationship : from.getRelationships(opc::model::ExcludeMode::None)) {
        const bool isInternal = relationship.getTargetMode() == opc::model::TargetMode::Internal;
        lines.push_back("relationship " + source + " " + (withIds ? to_string(relationship.getID()) + " " : "") +
                        to_string(relationship.getType()) + (isInternal ? " -> " : " => ") + targetOf(relationship));
    }
    std::sort(lines.begin(), lines.end());
    for (const std::string& line : lines) {
        out.line(printable(line));
    }
}

void tellParts(TextWriter& out, const Document& document) {
    const std::vector<Part> parts = sortedParts(document, [](const Part& part) { return part.getName().folded(); });
    for (const Part& part : parts) {
        tellPart(out, part);
    }
    out.attempt("relationship / ", [&] { tellRelationships(out, "/", document.package(), false); });
    for (const Part& part : parts) {
        const std::string& name = part.getName().ascii();
        out.attempt("relationship " + name + " ", [&] { tellRelationships(out, name, part, true); });
    }
}

std::string marked(const Run& run) {
    if (!run.picture.empty()) {
        return "[picture " + run.picture + "]";
    }
    const std::string mark = std::string(run.bold ? "**" : "") + (run.italic ? "*" : "");
    return mark + run.text + std::string(mark.rbegin(), mark.rend());
}

void tellParagraph(TextWriter& out, const Paragraph& paragraph) {
    if (paragraph.code) {
        out.lines("  ", *paragraph.code);
        return;
    }
    std::string text;
    for (const Run& run : paragraph.runs) {
        text += marked(run);
    }
    out.lines("[" + printable(paragraph.style) + "] ", text);
}

void tellCode(TextWriter& out, const Document& document) {
    out.line("");
    if (document.form() == CodeForm::Encrypted) {
        const fl::Bytes code = document.storedCode();
        out.line("[encrypted, " + sizeAndDigest(code.size(), sha256(code)) + "]");
        return;
    }
    const RichText text = document.richText();
    for (const Paragraph& paragraph : text.paragraphs) {
        tellParagraph(out, paragraph);
    }
    if (!text.fault.empty()) {
        out.line("[damaged: " + printable(text.fault) + "]");
    }
}

void tell(TextWriter& out, const Document& document) {
    out.attempt("code: ", [&] { out.line(std::string("code: ") + nameOf(document.form())); });
    tellProperties(out, document);
    out.attempt("", [&] { tellParts(out, document); });
    out.attempt("", [&] { tellCode(out, document); });
}

}  // namespace

std::string textForm(const std::u16string& name, const foundation::storage::vfs::StorageSystemReference& storage) {
    TextWriter out;
    out.attempt("", [&] { tell(out, Document(name, storage)); });
    return out.take();
}

std::string printable(std::string_view utf8) {
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
