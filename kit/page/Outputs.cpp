// Shows stored outputs as results. No standard says what outputs look like, and each version of an engine may store
// others. So XML is read by what its names suggest (rows, pictures, errors), and what is not understood is shown as
// text; nothing that is stored is left out without a word.
#include "kit/page/Outputs.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFilePackage.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/StoredText.hpp"
#include "kit/document/XmlTree.hpp"
#include "kit/page/Wording.hpp"
#include "opc/Exception.hpp"

#include <algorithm>
#include <cctype>
#include <map>

namespace flowbook::kit {

using fl::i18n::to_string;
using opc::model::Part;
using opc::model::PartName;
using opc::model::Relationship;

namespace {

// A browser shows a megabyte of results without delay; the rest of an output is in the file.
constexpr std::size_t kMostOfOutput = std::size_t{1} << 20;
constexpr std::string_view kPictureUri = "data:image/";

std::string smallName(const XmlNode& node) {
    std::string name(node.local);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    return name;
}

bool isNamed(const std::string& name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isRow(const XmlNode& node) { return isNamed(smallName(node), {"row", "tr", "tablerow"}); }

bool isGroupOfRows(const XmlNode& node) { return isNamed(smallName(node), {"thead", "tbody", "tfoot", "rows"}); }

bool hasElements(const XmlNode& node) {
    return std::any_of(node.children.begin(), node.children.end(), [](const XmlNode& each) { return !each.isText(); });
}

bool isBlank(const XmlNode& node) { return node.isText() && isBlankText(node.text); }

/// A row, the names of columns, or a group that holds nothing but rows.
bool holdsRows(const XmlNode& node) {
    if (isRow(node) || (hasElements(node) && isNamed(smallName(node), {"header", "columns"}))) {
        return true;
    }
    return isGroupOfRows(node) && hasElements(node) &&
           std::all_of(node.children.begin(), node.children.end(),
                       [](const XmlNode& each) { return isBlank(each) || holdsRows(each); });
}

/// Text, and elements that mark a part of it.
bool isInLine(const XmlNode& node) {
    const bool isMark =
        isNamed(smallName(node), {"b", "i", "u", "s", "em", "strong", "span", "sub", "sup", "code", "r", "t"});
    return node.isText() || (isMark && std::all_of(node.children.begin(), node.children.end(), isInLine));
}

/// Whether all there is to show in the element is text of one line or paragraph.
bool isPhrase(const XmlNode& node) {
    const bool hasText = std::any_of(node.children.begin(), node.children.end(),
                                     [](const XmlNode& each) { return each.isText() && !isBlankText(each.text); });
    return (hasText || smallName(node) == "p") && std::all_of(node.children.begin(), node.children.end(), isInLine);
}

// Programs that indent their XML put blanks around the address or the data of a picture.
std::string_view trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    return text.substr(begin, text.find_last_not_of(" \t\r\n") + 1 - begin);
}

bool isBase64(std::string_view text) {
    // No picture is that short, but words of four letters look like base64 too.
    return text.size() >= 8 && std::all_of(text.begin(), text.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || std::isspace(c) != 0 || c == '+' || c == '/' || c == '=';
           });
}

/// Writes the results that one part with XML holds. XML of any vocabulary will do: rows make tables, the address or the
/// content of a picture makes a picture, all other text stands as it is.
class ResultWriter {
public:
    ResultWriter(Markup& out, const Document& document, const Part& part, Figures& figures)
        : out_(&out), document_(&document), part_(&part), figures_(&figures) {
        for (const Relationship& each : part.getRelationships(opc::model::ExcludeMode::None)) {
            if (each.getTargetMode() == opc::model::TargetMode::Internal) {
                targets_.emplace(to_string(each.getID()), each.getTargetURI());
            }
        }
    }

    void write(const XmlNode& node) {
        if (shown_ > kMostOfOutput) {
            return;
        }
        if (node.isText()) {
            writeText(node.text);
        } else if (smallName(node) == "metadata") {
            writeStates(node);
        } else if (!writePictures(node)) {
            writeInside(node);
        }
    }

    bool isWhole() const { return shown_ <= kMostOfOutput; }

private:
    /// Rows that follow each other make a table.
    void writeInside(const XmlNode& node) {
        if (!hasElements(node) || isPhrase(node)) {
            writeText(node.allText(), isNamed(smallName(node), {"error", "stderr"}) ? "result error" : "result");
            return;
        }
        const auto end = node.children.end();
        for (auto at = node.children.begin(); at != end;) {
            const auto last = std::find_if_not(at, end, [](auto& each) { return isBlank(each) || holdsRows(each); });
            if (std::any_of(at, last, holdsRows)) {
                writeTable(at, last);
                at = last;
            } else {
                write(*at++);
            }
        }
    }

    /// Words about the outputs, which are no results.
    void writeStates(const XmlNode& node) {
        std::string words;
        for (const XmlNode& child : node.children) {
            const std::string text = child.isText() ? "" : child.allText();
            words += isBlankText(text) ? "" : (words.empty() ? "" : ", ") + std::string(child.local) + ": " + text;
        }
        if (!words.empty()) {
            out_->element("p", {{"class", "remark"}}, words);
        }
    }

    void writeText(const std::string& text, std::string_view kind = "result") {
        if (isBlankText(text)) {
            return;
        }
        shown_ += text.size();
        if (!writePicture(std::string(trimmed(text)))) {
            out_->element("p", {{"class", kind}, {"dir", "auto"}}, text);
        }
    }

    /// @returns whether the text is a picture, or leads to one.
    bool writePicture(const std::string& text) {
        const std::optional<Part> part = startsWith(text, kPictureUri) ? std::nullopt : pictureAt(text);
        if (part) {
            figures_->write(*out_, *part);
        } else if (startsWith(text, kPictureUri)) {
            figures_->writeDataUri(*out_, text);
        }
        return part || startsWith(text, kPictureUri);
    }

    /// Writes the pictures that attributes lead to. @returns whether the text inside was a picture too.
    bool writePictures(const XmlNode& node) {
        bool isTextPicture = false;
        for (const XmlNode::Attribute& attribute : node.attributes) {
            writePicture(attribute.value);
            if (startsWith(attribute.value, "image/") && !hasElements(node) && isBase64(node.allText())) {
                figures_->writeDataUri(*out_, "data:" + attribute.value + ";base64," + node.allText());
                isTextPicture = true;
            }
        }
        return isTextPicture;
    }

    /// The picture that a relationship of the part, or the name of a part, leads to.
    std::optional<Part> pictureAt(const std::string& reference) const {
        // Results are texts of any length. One that is longer than a name can be is not resolved as one.
        if (reference.empty() || reference.size() > 255) {
            return std::nullopt;
        }
        const auto target = targets_.find(reference);
        const std::size_t start = reference.find_first_not_of("./");  // "../media/x" is seen from the part
        const std::string path = start == std::string::npos ? reference : "/" + reference.substr(start);
        try {
            const PartName name(target == targets_.end() ? opc::model::URI(fl::i18n::to_ustring(path))
                                                         : target->second);
            const Part part = document_->package().getPart(name);
            return isPicture(part) ? std::make_optional(part) : std::nullopt;
        } catch (const opc::Exception&) {
            return std::nullopt;  // It names no part.
        }
    }

    using Nodes = std::vector<XmlNode>::const_iterator;

    void writeTable(Nodes begin, Nodes end) {
        const std::string label = "Table of results " + std::to_string(++tables_) + " of " + part_->getName().ascii();
        out_->open("div", {{"class", "table"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
        out_->open("table", {{"class", "content"}}).open("tbody");
        writeRows(begin, end);
        out_->close().close().close();
    }

    void writeRows(Nodes begin, Nodes end) {
        for (; begin != end; ++begin) {
            const bool isNames = isNamed(smallName(*begin), {"header", "columns"});
            if (isGroupOfRows(*begin)) {
                writeRows(begin->children.begin(), begin->children.end());
            } else if (!begin->isText()) {
                out_->open("tr");
                for (const XmlNode& cell : begin->children) {
                    writeCell(cell, isNames);
                }
                out_->close();
            }
        }
    }

    void writeCell(const XmlNode& cell, bool isName) {
        const std::string name = smallName(cell);
        // Word processors put settings of a row or cell in elements such as trPr and tcPr, which hold nothing to show.
        if (isBlank(cell) || endsWith(name, "pr")) {
            return;
        }
        const std::string text = cell.allText();
        const bool isHead = (isName || isNamed(name, {"th", "header", "head"})) && !isBlankText(text);
        isHead ? out_->open("th", {{"scope", "col"}}) : out_->open("td");
        const bool isTextPicture = writePictures(cell);
        const bool isText = !hasElements(cell) || isPhrase(cell);
        if (!isText) {
            writeInside(cell);
        } else if (!isTextPicture && !writePicture(std::string(trimmed(text)))) {
            shown_ += text.size();
            out_->text(text);
        }
        out_->close();
    }

    Markup* out_;
    const Document* document_;
    const Part* part_;
    Figures* figures_;
    std::map<std::string, opc::model::URI> targets_;  ///< of the part's relationships, by id
    std::size_t shown_ = 0;
    std::size_t tables_ = 0;
};

std::string contentTypeOf(const Part& part) { return to_string(part.getContentType().toString()); }

bool isXmlType(const std::string& type) { return type.find("xml") != std::string::npos; }

bool isTextType(const std::string& type) {
    return type.rfind("text/", 0) == 0 || isXmlType(type) || type.find("json") != std::string::npos;
}

std::string aboutPart(const Part& part) {
    return part.getName().ascii() + ", " + contentTypeOf(part) + ", " + counted(part.getSize(), "byte");
}

/// @param isOpen  whether it is to be seen without unfolding it, as there are no results of it.
void writeStored(Markup& out, const Part& part, const fl::Bytes& content, bool isOpen) {
    const std::string text = textIn(content);
    const std::string_view shown = startOf(text, kMostOfOutput);
    isOpen ? out.open("details", {{"open", ""}}) : out.open("details");
    out.element("summary", {{"lang", "en"}}, "As stored: " + aboutPart(part));
    out.open("pre", {{"class", "plain"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", aboutPart(part)}});
    out.open("code", {{"translate", "no"}}).text(shown).close().close();
    if (shown.size() < text.size()) {
        out.element("p", {{"class", "remark"}}, "[Shown up to byte " + grouped(shown.size()) + "]");
    }
    out.close();
}

/// @returns whether the results are all there is.
bool writeXmlResults(Markup& out, const Document& document, const Part& part, const fl::Bytes& content,
                     Figures& figures) {
    const XmlTree tree = readXmlTree(content, document.where(part), XmlEncoding::AsDeclared);
    ResultWriter writer(out, document, part, figures);
    if (tree.root() != nullptr) {
        writer.write(*tree.root());
    }
    if (!tree.fault.empty()) {
        out.element("p", {{"class", "remark"}, {"lang", "en"}}, "[What follows is only below: " + tree.fault + "]");
    }
    if (!writer.isWhole()) {
        out.element("p", {{"class", "remark"}}, "[Further results are left out here]");
    }
    return tree.fault.empty();
}

void writeOutput(Markup& out, const Document& document, const Part& part, Figures& figures) {
    const std::string type = contentTypeOf(part);
    if (isPicture(part)) {
        figures.write(out, part);
    } else if (!isTextType(type)) {
        out.element("p", {{"class", "remark"}}, "[" + aboutPart(part) + ", not shown]");
    } else {
        const fl::Bytes content = contentOf(part);
        const bool areResults = isXmlType(type) && writeXmlResults(out, document, part, content, figures);
        writeStored(out, part, content, !areResults);
    }
}

}  // namespace

void writeOutputs(Markup& out, const Document& document, Figures& figures, Faults& faults) {
    std::vector<Relationship> outputs;
    faults.attempt(out, [&] {
        outputs = document.package().getRelationshipsByType(FlowbookFilePackage::getPackageRelationshipTypes()[1]);
    });
    if (outputs.empty()) {
        return;
    }
    out.open("section", {{"class", "results"}, {"aria-labelledby", "results"}});
    out.element("h2", {{"id", "results"}, {"lang", "en"}}, "Stored outputs");
    for (const Relationship& output : outputs) {
        Markup one;
        faults.attempt(out, [&] {
            const Part part = document.package().getPart(PartName(output.getTargetURI()));
            writeOutput(one, document, part, figures);
        });
        out.append(one);
    }
    out.close();
}

}  // namespace flowbook::kit
