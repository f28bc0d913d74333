// The page of one flowbook. What cannot be read is named at the place where it would stand, and the rest of the page
// is made all the same, so that a page of a damaged flowbook shows all that can be shown.
#include "kit/page/Page.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/document/Characters.hpp"
#include "kit/page/DocumentText.hpp"
#include "kit/page/Frame.hpp"
#include "kit/page/FurtherProperties.hpp"
#include "kit/page/Outputs.hpp"
#include "kit/page/PartTables.hpp"
#include "kit/page/Pieces.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

const std::string& titleOf(const PageSummary& summary) { return summary.title.empty() ? summary.file : summary.title; }

void writeLink(Markup& out, std::string_view target, std::string_view relation, std::string_view words) {
    if (!target.empty()) {
        out.element("a", {{"href", target}, {"rel", relation}}, words);
    }
}

/// People who use a keyboard or a screen reader would otherwise pass the list of pages on each page.
/// What comes before the header: ways to skip it and to leave the page.
void writeStart(Markup& out, const PageLinks& links) {
    out.element("a", {{"class", "skip"}, {"href", "#text"}, {"lang", "en"}}, "Skip to the text");
    if (!links.index.empty()) {
        out.open("nav", {{"class", "pages"}, {"aria-label", "Pages"}, {"lang", "en"}});
        writeLink(out, links.index, "up", "All flowbooks");
        writeLink(out, links.previous, "prev", "Previous");
        writeLink(out, links.next, "next", "Next");
        out.close();
    }
}

/// The page of one flowbook while it is written. The header comes first and shows what only the text holds, so that the
/// text is written apart.
class PageWriter {
public:
    PageWriter(const Document& document, const PageOptions& options)
        : document_(&document), options_(&options), faults_(options.inWords) {
        summary_.file = options.file;
    }

    Page write() {
        Markup start;
        showDamage(start);
        showForm(start);
        readProperties(start);
        writeText();
        Markup body;
        writeStart(body, options_->links);
        writeHeader(body);
        if (!start.finished().empty()) {
            body.open("section", {{"aria-label", "What is damaged"}}).append(start).close();
        }
        body.append(outline_).append(main_);
        body.open("aside", {{"aria-label", "What the file holds"}, {"lang", "en"}});
        writePartTables(body, *document_, faults_);
        body.close();
        summary_.state = faults_.all().empty() ? nameOf(form_) : "damaged";
        return {framed({titleOf(summary_), language_.empty() ? "en" : language_, options_->source, false}, body),
                summary_, faults_.all()};
    }

private:
    void showDamage(Markup& out) {
        if (options_->damage) {
            faults_.show(out, options_->damage->reason);
            writeLosses(out, *options_->damage);
        }
    }

    void showForm(Markup& out) {
        faults_.attempt(out, [this] { form_ = document_->form(); });
    }

    void readProperties(Markup& out) {
        properties_ = document_->properties();
        showFaults(out);
        Markup ignored;
        Faults known({});  // The same faults, which stand above.
        known.attempt(ignored, [this] { furtherProperties_ = furtherPropertiesOf(*document_); });
        const std::string title = valueOf("title");
        summary_.title = isBlankTitle(title) ? "" : title;
        summary_.description = valueOf("description");
        summary_.version = valueOf("version");
        summary_.modified = valueOf("modified");
        for (const FurtherProperty& property : furtherProperties_) {
            if (property.name == "language" && isLanguage(property.value)) {
                language_ = property.value;
            }
        }
    }

    /// One fault may be that of several properties.
    void showFaults(Markup& out) {
        std::string_view last;
        for (const Property& property : properties_) {
            // One part of properties that cannot be read is the fault of each property in it.
            if (!property.fault.empty() && property.fault != last) {
                faults_.show(out, property.fault, property.isOfLimit);
            }
            last = property.fault;
        }
    }

    std::string valueOf(std::string_view label) const {
        for (const Property& property : properties_) {
            if (property.label == label) {
                return property.value.value_or("");
            }
        }
        return {};
    }

    void writeText() {
        main_.open("main", {{"id", "text"}});
        if (form_ == CodeForm::Encrypted) {
            faults_.attempt(main_, [this] { writeEncrypted(); });
        } else if (form_ == CodeForm::None && faults_.all().empty()) {
            main_.element("p", {{"lang", "en"}}, "There is no code in this flowbook.");
        }
        Markup text;
        faults_.attempt(main_, [&] { writeDocument(text); });
        main_.append(text).close();
    }

    void writeEncrypted() {
        const fl::Bytes code = document_->storedCode();
        const std::string size = counted(code.size(), "byte");
        const std::string digest = sha256(code);
        main_.open("div", {{"class", "notice"}, {"lang", "en"}});
        main_.open("p").element("strong", "Encrypted code").close();
        main_.open("p").text(size + ", SHA-256 ").element("code", digest).close().close();
    }

    void writeDocument(Markup& out) {
        // Pictures that the text shows come first; those left over follow it, and outputs come last, as in an editor.
        Figures figures(*document_, faults_);
        faults_.attempt(out, [&] {
            const bool isCodeLost = options_->damage && !options_->damage->code.empty();
            const DocumentText text(*document_, isCodeLost ? &options_->damage->code : nullptr);
            summary_.lineCount = text.write(out, figures, faults_, outline_);
            // What the properties say counts before the language of the text, which editors set to that of their user.
            language_ = language_.empty() ? text.language() : language_;
        });
        figures.writeOthers(out);
        writeOutputs(out, *document_, figures, faults_);
        summary_.picture = figures.thumbnail();
    }

    void writeHeader(Markup& out) {
        out.open("header").element("h1", {{"dir", "auto"}}, titleOf(summary_));
        if (!isBlankTitle(summary_.description)) {
            out.element("p", {{"class", "description"}, {"dir", "auto"}}, summary_.description);
        }
        out.open("dl", {{"class", "facts"}}).open("div").element("dt", {{"lang", "en"}}, "File");
        out.element("dd", {{"class", "name"}, {"dir", "auto"}, {"translate", "no"}}, summary_.file).close();
        writeFact(out, "Version", valueOf("version"));
        writeFact(out, "Release", valueOf("release"));
        writeTime(out, "Created", valueOf("created"));
        writeTime(out, "Modified", summary_.modified);
        for (const FurtherProperty& property : furtherProperties_) {
            writeFact(out, property.label, property.value);
        }
        writeFact(out, "Code", aboutCode());
        out.close().close();
    }

    std::string aboutCode() const {
        return (summary_.lineCount ? counted(*summary_.lineCount, "line") + ", " : "") + nameOf(form_);
    }

    static void writeFact(Markup& out, std::string_view label, std::string_view value) {
        if (!value.empty()) {
            out.open("div").element("dt", {{"lang", "en"}}, label).element("dd", {{"dir", "auto"}}, value).close();
        }
    }

    static void writeTime(Markup& out, std::string_view label, const std::string& iso) {
        if (!iso.empty()) {
            out.open("div").element("dt", {{"lang", "en"}}, label).open("dd");
            out.element("time", {{"datetime", iso}}, readableTime(iso)).close().close();
        }
    }

    const Document* document_;
    const PageOptions* options_;
    Faults faults_;
    Markup outline_;
    Markup main_;
    CodeForm form_ = CodeForm::None;
    std::vector<Property> properties_;
    std::vector<FurtherProperty> furtherProperties_;
    std::string language_;
    PageSummary summary_;
};

}  // namespace

Page makePage(const Document& document, const PageOptions& options) { return PageWriter(document, options).write(); }

void writeLosses(Markup& out, const PageDamage& damage) {
    // A hostile file may have lost thousands of things. The number of all others is written below.
    constexpr std::size_t kMostLosses = 50;
    const std::vector<std::string>& losses = damage.losses;
    out.open("div", {{"class", "remark"}, {"lang", "en"}});
    out.element("p", "This page shows what 'flowbook repair' can save of the file.");
    if (!losses.empty()) {
        out.open("ul");
        for (std::size_t i = 0; i < std::min(losses.size(), kMostLosses); ++i) {
            out.element("li", losses[i]);
        }
        out.close();
    }
    if (losses.size() > kMostLosses) {
        out.element("p", "And " + grouped(losses.size() - kMostLosses) + " more.");
    }
    out.close();
}

Page makeFailurePage(const PageOptions& options, const PageFault& reason) {
    Markup body;
    writeStart(body, options.links);
    body.open("header").element("h1", {{"dir", "auto"}}, options.file).close().open("main", {{"id", "text"}});
    writeNotice(body, "This file cannot be shown", reason.words);
    body.close();
    PageSummary summary;
    summary.file = options.file;
    summary.state = "damaged";
    return {framed({options.file, "en", options.source, false}, body), summary, {reason}};
}

bool isBlankTitle(std::string_view title) {
    const std::u16string text = fl::i18n::to_ustring(title);
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = characterAt(text, at);
        const bool isSpace = character == ' ' || character == 0xA0 || character == 0x1680 || character == 0x202F ||
                             (character >= 0x2000 && character <= 0x200A) || character == 0x205F || character == 0x3000;
        if (!isSpace && !isHidden(character)) {
            return false;
        }
        at += length;
    }
    return true;
}

}  // namespace flowbook::kit
