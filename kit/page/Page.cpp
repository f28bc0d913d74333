#include "kit/page/Page.hpp"

#include "kit/compare/Sha256.hpp"
#include "kit/page/Frame.hpp"
#include "kit/page/PartTables.hpp"
#include "kit/page/Prose.hpp"
#include "kit/page/Wording.hpp"

namespace flowbook::kit {

namespace {

const std::string& titleOf(const PageSummary& summary) { return summary.title.empty() ? summary.file : summary.title; }

/// The page of one flowbook while it is written. The header comes first and tells what only the text tells, so that the
/// text is written apart.
class PageWriter {
public:
    PageWriter(const Document& document, const PageOptions& options) : document_(&document), faults_(options.inWords) {
        summary_.file = options.file;
    }

    Page write() {
        Markup start;
        tellForm(start);
        readProperties(start);
        writeText();
        Markup body;
        writeHeader(body);
        body.append(start).append(main_);
        body.open("aside", {{"aria-label", "What the file holds"}});
        writeOutputs(body, *document_, faults_);
        writePartTables(body, *document_, faults_);
        body.close();
        summary_.state = faults_.all().empty() ? nameOf(form_) : "damaged";
        return {framed(titleOf(summary_), body), summary_, faults_.all()};
    }

private:
    void tellForm(Markup& out) {
        faults_.attempt(out, [this] { form_ = document_->form(); });
    }

    void readProperties(Markup& out) {
        properties_ = document_->properties();
        tellFaults(out);
        summary_.title = valueOf("title");
        summary_.description = valueOf("description");
        summary_.version = valueOf("version");
        summary_.modified = valueOf("modified");
    }

    /// One fault may be that of several properties.
    void tellFaults(Markup& out) {
        std::string_view told;
        for (const Property& property : properties_) {
            if (!property.fault.empty() && property.fault != told) {
                faults_.tell(out, property.fault);
            }
            told = property.fault;
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
        main_.open("main");
        if (form_ == CodeForm::Encrypted) {
            faults_.attempt(main_, [this] { writeEncrypted(); });
        } else if (form_ == CodeForm::None && faults_.all().empty()) {
            main_.element("p", "There is no code in this flowbook.");
        }
        faults_.attempt(main_, [this] { writeProse(); });
        main_.close();
    }

    void writeEncrypted() {
        const fl::Bytes code = document_->storedCode();
        const std::string size = counted(code.size(), "byte");
        const std::string digest = sha256(code);
        main_.open("div", {{"class", "notice"}}).open("p").element("strong", "Encrypted code").close();
        main_.open("p").text(size + ", SHA-256 ").element("code", digest).close().close();
    }

    void writeProse() {
        Figures figures(*document_, faults_);
        const RichText text = document_->richText();
        Prose prose(main_, figures);
        prose.write(text.paragraphs);
        if (!text.fault.empty()) {
            faults_.tell(main_, text.fault);
        }
        figures.writeOthers(main_);
        summary_.lineCount = prose.lineCount();
        summary_.picture = figures.thumbnail();
    }

    void writeHeader(Markup& out) {
        out.open("header").element("h1", {{"dir", "auto"}}, titleOf(summary_));
        if (!summary_.description.empty()) {
            out.element("p", {{"class", "description"}, {"dir", "auto"}}, summary_.description);
        }
        out.open("dl", {{"class", "facts"}}).open("div").element("dt", "File");
        out.element("dd", {{"class", "name"}, {"dir", "auto"}}, summary_.file).close();
        writeFact(out, "Version", valueOf("version"));
        writeFact(out, "Release", valueOf("release"));
        writeTime(out, "Created", valueOf("created"));
        writeTime(out, "Modified", summary_.modified);
        writeFact(out, "Code", aboutCode());
        out.close().close();
    }

    std::string aboutCode() const {
        const bool hasLines = form_ == CodeForm::Plain || form_ == CodeForm::Rich;
        const bool isUnread = summary_.lineCount == 0 && !faults_.all().empty();
        return (hasLines && !isUnread ? counted(summary_.lineCount, "line") + ", " : "") + nameOf(form_);
    }

    static void writeFact(Markup& out, std::string_view label, std::string_view value) {
        if (!value.empty()) {
            out.open("div").element("dt", label).element("dd", {{"dir", "auto"}}, value).close();
        }
    }

    static void writeTime(Markup& out, std::string_view label, const std::string& iso) {
        if (!iso.empty()) {
            out.open("div").element("dt", label).open("dd");
            out.element("time", {{"datetime", iso}}, readableTime(iso)).close().close();
        }
    }

    const Document* document_;
    Faults faults_;
    Markup main_;
    CodeForm form_ = CodeForm::None;
    std::vector<Property> properties_;
    PageSummary summary_;
};

}  // namespace

Page makePage(const Document& document, const PageOptions& options) { return PageWriter(document, options).write(); }

Page makeFailurePage(const std::string& file, const std::string& reason) {
    Markup body;
    body.open("header").element("h1", {{"dir", "auto"}}, file).close().open("main");
    writeNotice(body, "This file cannot be shown", reason);
    body.close();
    PageSummary summary;
    summary.file = file;
    summary.state = "damaged";
    return {framed(file, body), summary, {reason}};
}

}  // namespace flowbook::kit
