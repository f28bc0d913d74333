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

/// An element whose children are rows and no more.
bool isTableOfRows(const XmlNode& node) {
    return hasElements(node) && std::all_of(node.children.begin(), node.children.end(), [](const XmlNode& each) {
               return each.isText() ? isBlankText(each.text)
                                    : isRow(each) || (isGroupOfRows(each) && isTableOfRows(each));
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
        } else if (isTableOfRows(node)) {
            writeTable(node);
        } else {
            writePictures(node);
            writeInside(node);
        }
    }

    bool isWhole() const { return shown_ <= kMostOfOutput; }

private:
    void writeInside(const XmlNode& node) {
        if (!hasElements(node)) {
            writeText(node.allText());
            return;
        }
        for (const XmlNode& child : node.children) {
            write(child);
        }
    }

    void writeText(const std::string& text) {
        const std::size_t begin = text.find_first_not_of(" \t\r\n");
        if (begin == std::string::npos) {
            return;
        }
        shown_ += text.size();
        if (startsWith(std::string_view(text).substr(begin), kPictureUri)) {
            figures_->writeDataUri(*out_, text.substr(begin, text.find_last_not_of(" \t\r\n") + 1 - begin));
        } else {
            out_->element("p", {{"class", "result"}, {"dir", "auto"}}, text);
        }
    }

    void writePictures(const XmlNode& node) {
        for (const XmlNode::Attribute& attribute : node.attributes) {
            if (startsWith(attribute.value, kPictureUri)) {
                figures_->writeDataUri(*out_, attribute.value);
            } else if (const auto picture = pictureAt(attribute.value)) {
                figures_->write(*out_, *picture);
            }
        }
    }

    /// The picture that a relationship of the part, or the name of a part, leads to.
    std::optional<Part> pictureAt(const std::string& reference) const {
        if (reference.empty() || reference.size() > 255) {
            return std::nullopt;
        }
        const auto target = targets_.find(reference);
        const std::string path = (reference.front() == '/' ? "" : "/") + reference;
        try {
            const PartName name(target == targets_.end() ? opc::model::URI(fl::i18n::to_ustring(path))
                                                         : target->second);
            const Part part = document_->package().getPart(name);
            return isPicture(part) ? std::make_optional(part) : std::nullopt;
        } catch (const opc::Exception&) {
            return std::nullopt;  // It names no part.
        }
    }

    void writeTable(const XmlNode& table) {
        const std::string label = "Table of results " + std::to_string(++tables_) + " of " + part_->getName().ascii();
        out_->open("div", {{"class", "table"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", label}});
        out_->open("table", {{"class", "content"}}).open("tbody");
        writeRows(table);
        out_->close().close().close();
    }

    void writeRows(const XmlNode& table) {
        for (const XmlNode& row : table.children) {
            if (isRow(row)) {
                out_->open("tr");
                std::for_each(row.children.begin(), row.children.end(),
                              [this](const XmlNode& cell) { writeCell(cell); });
                out_->close();
            } else if (!row.isText()) {
                writeRows(row);
            }
        }
    }

    void writeCell(const XmlNode& cell) {
        if (cell.isText() && isBlankText(cell.text)) {
            return;
        }
        const std::string text = cell.allText();
        const bool isHead = isNamed(smallName(cell), {"th", "header", "head"}) && !isBlankText(text);
        shown_ += text.size();
        isHead ? out_->open("th", {{"scope", "col"}}) : out_->open("td");
        if (hasElements(cell) && std::any_of(cell.children.begin(), cell.children.end(), isTableOfRows)) {
            writeInside(cell);
        } else {
            out_->text(text);
            writePictures(cell);
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

void writeStored(Markup& out, const Part& part, const fl::Bytes& content) {
    const std::string text = textIn(content);
    const std::string_view shown = startOf(text, kMostOfOutput);
    out.open("details").element("summary", {{"lang", "en"}}, "As stored: " + aboutPart(part));
    out.open("pre", {{"class", "plain"}, {"tabindex", "0"}, {"role", "region"}, {"aria-label", aboutPart(part)}});
    out.open("code", {{"translate", "no"}}).text(shown).close().close();
    if (shown.size() < text.size()) {
        out.element("p", {{"class", "remark"}}, "[Shown up to byte " + grouped(shown.size()) + "]");
    }
    out.close();
}

void writeXmlResults(Markup& out, const Document& document, const Part& part, const fl::Bytes& content,
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
}

void writeOutput(Markup& out, const Document& document, const Part& part, Figures& figures) {
    const std::string type = contentTypeOf(part);
    if (isPicture(part)) {
        figures.write(out, part);
    } else if (!isTextType(type)) {
        out.element("p", {{"class", "remark"}}, "[" + aboutPart(part) + ", not shown]");
    } else {
        const fl::Bytes content = contentOf(part);
        if (isXmlType(type)) {
            writeXmlResults(out, document, part, content, figures);
        }
        writeStored(out, part, content);
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
