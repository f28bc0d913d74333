// The page of what changed between two versions. Each section catches its own failures, so a damaged part is named
// where it would be shown and the rest of the page is there. One version that cannot be opened leaves the other to be
// shown whole.
#include "kit/page/Changes.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/compare/Digest.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/document/Pictures.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/page/ChangedLines.hpp"
#include "kit/page/Figures.hpp"
#include "kit/page/Frame.hpp"
#include "kit/page/FurtherProperties.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace flowbook::kit {

using opc::model::Part;

namespace {

constexpr std::size_t kMostComparedText = std::size_t{1} << 20;

/// What one version has, by name.
using Values = std::vector<std::pair<std::string, std::string>>;

std::string valueIn(const Values& values, const std::string& name) {
    const auto found = std::find_if(values.begin(), values.end(), [&](const auto& each) { return each.first == name; });
    return found == values.end() ? "" : found->second;
}

/// The names that either version has, in their order.
std::vector<std::string> namesIn(const Values& before, const Values& after) {
    std::vector<std::string> names;
    for (const Values* values : {&before, &after}) {
        for (const auto& [name, value] : *values) {
            if (std::find(names.begin(), names.end(), name) == names.end()) {
                names.push_back(name);
            }
        }
    }
    return names;
}

std::string capitalised(std::string label) {
    label[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(label[0])));
    return label;
}

struct PartState {
    std::optional<Part> part;
    std::string type;
    std::string about;  ///< size and digest
};

/// The same part of two versions, by its folded name.
using PartPairs = std::map<std::string, std::pair<PartState, PartState>>;

/// The page of changes while it is written.
class ChangesWriter {
public:
    ChangesWriter(const ChangesSide& before, const ChangesSide& after) : before_(before), after_(after), faults_({}) {}

    void write(Markup& out) {
        for (const ChangesSide* side : {&before_, &after_}) {
            if (!side->fault.empty()) {
                writeNotice(out, "Damaged", side->name + ": " + side->fault);
            } else if (side->damage != nullptr) {
                writeNotice(out, "Damaged", side->name + ": " + side->damage->reason);
                writeLosses(out, *side->damage);
            }
        }
        const bool canCompare = before_.fault.empty() && after_.fault.empty();
        if (!canCompare && (before_.document != nullptr || after_.document != nullptr)) {
            out.element("p", "What changed cannot be shown. This is all that the other version holds:");
        }
        faults_.attempt(out, [&] { writeProperties(out); });
        faults_.attempt(out, [&] { writeText(out); });
        faults_.attempt(out, [&] { writeParts(out); });
        if (!hasChanges_ && canCompare) {
            out.element(
                "p",
                areEqual()
                    ? "The contents are the same."
                    : "What the versions show is the same. They differ in what is not compared here, such as ids.");
        }
        // Against nothing every line counts as added, which would be no count of changes.
        count_ = canCompare ? count_ : ChangesCount();
    }

    ChangesCount count() const { return count_; }

    bool isDamaged() const {
        return !faults_.all().empty() || !before_.fault.empty() || !after_.fault.empty() || before_.damage != nullptr ||
               after_.damage != nullptr;
    }

private:
    bool areEqual() const {
        try {
            return before_.document == nullptr || after_.document == nullptr ||
                   contentDigest(*before_.document) == contentDigest(*after_.document);
        } catch (const opc::Exception&) {
            return true;  // Of what cannot be read only the faults can be compared, which the tables do.
        }
    }

    static Values propertiesOf(const ChangesSide& side) {
        Values values;
        if (side.document == nullptr) {
            return values;
        }
        for (const Property& property : side.document->properties()) {
            const std::string value = property.fault.empty() ? property.value.value_or("") : "[" + property.fault + "]";
            values.emplace_back(capitalised(property.label), value);
        }
        for (const FurtherProperty& property : furtherPropertiesOf(*side.document)) {
            values.emplace_back(property.label, property.value);
        }
        // Encrypted code has no lines to compare; its size and digest show whether it changed.
        values.emplace_back("Code", codeOf(*side.document));
        return values;
    }

    static std::string codeOf(const Document& document) {
        const CodeForm form = document.form();
        const fl::Bytes code = form == CodeForm::Encrypted ? document.storedCode() : fl::Bytes();
        return nameOf(form) + (code.empty() ? "" : ", " + counted(code.size(), "byte") + ", SHA-256 " + sha256(code));
    }

    void begin(Markup& out, std::string_view heading) {
        hasChanges_ = true;
        out.element("h2", heading);
    }

    void writeProperties(Markup& out) {
        const Values before = propertiesOf(before_);
        const Values after = propertiesOf(after_);
        // Names of both versions count, so that a property that only one of them has is shown as well.
        std::vector<std::string> names = namesIn(before, after);
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [&](const auto& name) { return valueIn(before, name) == valueIn(after, name); }),
                    names.end());
        if (names.empty()) {
            return;
        }
        begin(out, "Properties");
        openPairs(out, "Properties");
        for (const std::string& name : names) {
            out.open("tr").element("th", {{"scope", "row"}}, name);
            out.open("td", {{"class", "removed"}}).element("del", {{"dir", "auto"}}, valueIn(before, name)).close();
            out.open("td", {{"class", "added"}})
                .element("ins", {{"dir", "auto"}}, valueIn(after, name))
                .close()
                .close();
        }
        out.close().close().close();
    }

    static void openPairs(Markup& out, std::string_view label) {
        out.open("div", {{"class", "table"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
        out.open("table", {{"class", "content pairs"}}).open("thead").open("tr");
        for (const std::string_view head : {"Name", "Before", "After"}) {
            out.element("th", {{"scope", "col"}}, head);
        }
        out.close().close().open("tbody");
    }

    static VersionText textOf(const ChangesSide& side) {
        const fl::Bytes none;
        return side.document == nullptr
                   ? VersionText()
                   : kit::textOf(*side.document, side.damage == nullptr ? none : side.damage->code);
    }

    void writeText(Markup& out) {
        const VersionText before = textOf(before_);
        const VersionText after = textOf(after_);
        Markup lines;
        count_ = writeChangedLines(lines, "Text and code", before.lines, after.lines);
        const bool isAlone = before_.document == nullptr || after_.document == nullptr;
        const std::string other = isAlone ? "" : aboutMarkup(before.around != after.around);
        if (!lines.finished().empty() || !other.empty()) {
            begin(out, "Text and code");
            out.append(lines);
        }
        if (!other.empty()) {
            out.element("p", other);
        }
    }

    /// What is to be said of markup that changed and of which a page shows nothing; empty for nothing.
    std::string aboutMarkup(bool isAroundChanged) const {
        if (count_.otherMarkup != 0) {
            return "The markup of " + counted(count_.otherMarkup, "line") +
                   " changed too in a way that no page shows; it is not compared here.";
        }
        if (isAroundChanged) {
            return "The markup around paragraphs changed too, such as that of tables; it is not compared here.";
        }
        return {};
    }

    /// By folded name, less what is compared otherwise.
    static std::map<std::string, PartState> partsOf(const ChangesSide& side) {
        std::map<std::string, PartState> states;
        if (side.document == nullptr) {
            return states;
        }
        std::optional<Part> code;
        try {
            code = side.document->codePart();
        } catch (const opc::Exception&) {
            // The code part cannot be found. The comparison of the text reports it, so here it is one part among
            // others.
        }
        for (const Part& part : side.document->package().getParts()) {
            if (!isCoreProperties(part) && (!code || code->getName().folded() != part.getName().folded())) {
                const std::string type = fl::i18n::to_string(part.getContentType().toString());
                states[part.getName().folded()] = {part, type, aboutPartOf(part)};
            }
        }
        return states;
    }

    static std::string aboutPartOf(const Part& part) {
        try {
            const fl::Bytes content =
                isPicture(part) ? pictureOf(contentOf(part), part.getName().ascii()) : contentOf(part);
            return counted(content.size(), "byte") + ", SHA-256 " + sha256(content);
        } catch (const opc::Exception& failure) {
            return failure.what();
        }
    }

    void writeParts(Markup& out) {
        std::map<std::string, PartState> before = partsOf(before_);
        std::map<std::string, PartState> after = partsOf(after_);
        PartPairs changed;
        for (const auto& [name, state] : before) {
            changed[name].first = state;
        }
        for (const auto& [name, state] : after) {
            changed[name].second = state;
        }
        takeRenamed(changed);
        bool isFirst = true;
        for (const auto& [name, states] : changed) {
            const auto& [a, b] = states;
            const bool isRenamed = a.part && b.part && a.part->getName().folded() != b.part->getName().folded();
            if (a.about != b.about || a.type != b.type || isRenamed) {
                if (isFirst) {
                    begin(out, "Outputs, pictures and other parts");
                }
                isFirst = false;
                isRenamed ? writeRenamed(out, a, b) : writePart(out, (a.part ? a : b).part->getName().ascii(), a, b);
            }
        }
    }

    /// Puts a part that is gone and a new one with the same content together.
    static void takeRenamed(PartPairs& changed) {
        std::map<std::string, PartPairs::iterator> gone;
        for (auto at = changed.begin(); at != changed.end(); ++at) {
            const auto& [before, after] = at->second;
            if (before.part && !after.part) {
                // Size and digest are in it, so parts that agree in it have the same content.
                gone.emplace(before.type + before.about, at);
            }
        }
        for (auto& [name, states] : changed) {
            auto& [before, after] = states;
            const auto found = before.part || !after.part ? gone.end() : gone.find(after.type + after.about);
            if (found != gone.end()) {
                before = std::exchange(found->second->second.first, {});
                gone.erase(found);
            }
        }
    }

    static void writeRenamed(Markup& out, const PartState& a, const PartState& b) {
        out.open("h3").element("span", {{"class", "name"}}, b.part->getName().ascii()).close();
        out.open("p").text("Renamed, before ").element("span", {{"class", "name"}}, a.part->getName().ascii());
        out.text("; the content is the same.").close();
        out.element("p", {{"class", "remark"}}, b.type + ", " + b.about);
    }

    void writePart(Markup& out, const std::string& name, const PartState& a, const PartState& b) {
        out.open("h3").element("span", {{"class", "name"}}, name).close();
        const bool isPictures = (!a.part || isPicture(*a.part)) && (!b.part || isPicture(*b.part));
        out.open("div", {{"class", "sides"}});
        writeSide(out, "Before", before_, a, isPictures);
        writeSide(out, "After", after_, b, isPictures);
        out.close();
        // Where one version has no such part, all lines would be changes; the size and the digest say enough then.
        if (!isPictures && a.part && b.part && isComparable(a) && isComparable(b)) {
            faults_.attempt(out, [&] {
                writeChangedLines(out, name, linesOf(textIn(contentOf(*a.part))), linesOf(textIn(contentOf(*b.part))));
            });
        }
    }

    /// Other content has no lines, and long ones would take the time and room of the whole page.
    static bool isComparable(const PartState& state) {
        const bool isText = state.type.rfind("text/", 0) == 0 || state.type.find("xml") != std::string::npos ||
                            state.type.find("json") != std::string::npos;
        return isText && state.part->getSize() <= kMostComparedText;
    }

    void writeSide(Markup& out, std::string_view label, const ChangesSide& side, const PartState& state,
                   bool isShownAsPicture) {
        out.open("div").element("p", {{"class", "remark"}}, label);
        if (!state.part) {
            out.element("p", "There is none.").close();
            return;
        }
        if (isShownAsPicture) {
            faults_.attempt(out, [&] { figuresOf(side).write(out, *state.part); });
        }
        out.element("p", {{"class", "remark"}}, state.type + ", " + state.about).close();
    }

    /// All pictures of a version count together, so that a page of many can be opened.
    Figures& figuresOf(const ChangesSide& side) {
        const bool isBefore = &side == &before_;
        std::optional<Figures>& figures = isBefore ? figuresBefore_ : figuresAfter_;
        return figures ? *figures : figures.emplace(*side.document, faults_, isBefore ? "before-" : "after-");
    }

    const ChangesSide& before_;
    const ChangesSide& after_;
    Faults faults_;
    ChangesCount count_;
    bool hasChanges_ = false;
    std::optional<Figures> figuresBefore_;
    std::optional<Figures> figuresAfter_;
};

}  // namespace

ChangesPage makeChangesPage(const std::string& title, const ChangesSide& before, const ChangesSide& after,
                            const std::string& index) {
    Markup body;
    body.element("a", {{"class", "skip"}, {"href", "#text"}}, "Skip to the changes");
    if (!index.empty()) {
        body.open("nav", {{"class", "pages"}, {"aria-label", "Pages"}});
        body.element("a", {{"href", index}, {"rel", "up"}}, "All changes").close();
    }
    body.open("header").element("h1", {{"dir", "auto"}}, title).open("dl", {{"class", "facts"}});
    for (const auto& [label, side] : {std::pair("Before", &before), std::pair("After", &after)}) {
        body.open("div").element("dt", label);
        body.element("dd", {{"class", "name"}, {"dir", "auto"}, {"translate", "no"}}, side->name).close();
    }
    body.close().close().open("main", {{"id", "text"}, {"class", "wide"}});
    ChangesWriter writer(before, after);
    writer.write(body);
    body.close();
    return {framed({"Changes: " + title, "en", "", false, !index.empty()}, body), writer.count(), writer.isDamaged()};
}

std::string makeChangesIndex(const std::string& title, const std::vector<ChangesRow>& rows) {
    Markup body;
    body.element("a", {{"class", "skip"}, {"href", "#text"}}, "Skip to the list");
    body.open("header").element("h1", "Changed flowbooks");
    body.element("p", {{"class", "description"}}, title + ": " + counted(rows.size(), "flowbook"));
    body.close().open("main", {{"id", "text"}});
    body.open("div", {{"class", "table"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", "Changed flowbooks"}});
    body.open("table", {{"class", "content pairs"}})
        .open("thead")
        .open("tr")
        .element("th", {{"scope", "col"}}, "Flowbook");
    body.element("th", {{"scope", "col"}}, "Change");
    for (const std::string_view head : {"Lines removed", "Lines added"}) {
        body.element("th", {{"scope", "col"}, {"class", "number"}}, head);
    }
    body.close().close().open("tbody");
    for (const ChangesRow& row : rows) {
        body.open("tr").open("td").element("a", {{"href", row.page}, {"dir", "auto"}}, row.file).close();
        row.isDamaged ? body.element("td", {{"class", "damaged"}}, row.kind + ", damaged")
                      : body.element("td", row.kind);
        body.element("td", {{"class", "number"}}, grouped(row.count.removed));
        body.element("td", {{"class", "number"}}, grouped(row.count.added)).close();
    }
    body.close().close().close().close();
    return framed({"Changed flowbooks"}, body);
}

}  // namespace flowbook::kit
