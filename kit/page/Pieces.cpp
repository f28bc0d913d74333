// Takes a paragraph apart into what it shows. The markup has hundreds of elements, and new ones come with each version
// of an office suite. So the few that are known are read for their meaning, the few that only hold settings are left
// out, and all others are entered: an unknown element loses its look, and no word in it is lost.
#include "kit/page/Pieces.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/RichText.hpp"
#include "kit/page/Formula.hpp"
#include "kit/page/Symbols.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <tuple>

namespace flowbook::kit {

namespace {

bool isSwitchedOff(std::string_view value) {
    return value == "false" || value == "0" || value == "off" || value == "none";
}

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// Elements that say how their siblings look or are edited.
constexpr std::string_view kSettings[] = {"pPr",         "rPr",     "tblPr",  "tblPrEx",  "tblGrid",
                                          "trPr",        "tcPr",    "sdtPr",  "sdtEndPr", "smartTagPr",
                                          "customXmlPr", "fldData", "ffData", "rubyPr"};

/// Elements that stand for something which lies elsewhere, and what they are called.
constexpr struct {
    std::string_view name;
    std::string_view called;
} kElsewhere[] = {{"footnoteReference", "footnote"},
                  {"endnoteReference", "endnote"},
                  {"commentReference", "comment"},
                  {"altChunk", "imported document"},
                  {"subDoc", "subdocument"},
                  {"headerReference", "page header"},
                  {"footerReference", "page footer"},
                  {"contentPart", "drawing in ink"},
                  {"chart", "chart"},
                  {"relIds", "diagram"},
                  {"OLEObject", "embedded object"},
                  {"control", "control"},
                  {"movie", "film"},
                  {"pgNum", "page number"},
                  {"dayShort", "date"},
                  {"dayLong", "date"},
                  {"monthShort", "date"},
                  {"monthLong", "date"},
                  {"yearShort", "date"},
                  {"yearLong", "date"}};

void noteRunProperty(Look& look, const XmlNode& property) {
    const std::string_view value = property.attribute("val");
    const std::string_view name = property.local;
    if (name == "rStyle") {
        // Styles of characters that importers of Markdown and office suites give these names.
        look.bold = look.bold || value == "Strong";
        look.italic = look.italic || value == "Emphasis";
        look.fixed = look.fixed || isOneOf(value, {"code", "Code", "VerbatimChar", "HTMLCode", "SourceCode"});
    } else if (name == "b") {
        look.bold = !isSwitchedOff(value);
    } else if (name == "i") {
        look.italic = !isSwitchedOff(value);
    } else if (name == "u") {
        look.underline = !isSwitchedOff(value);
    } else if (name == "strike" || name == "dstrike") {
        look.strike = !isSwitchedOff(value);
    } else if (name == "vanish") {
        look.concealed = !isSwitchedOff(value);
    } else if (name == "vertAlign") {
        look.raised = value == "superscript";
        look.lowered = value == "subscript";
    } else if (name == "lang") {
        look.language = isLanguage(value) ? value : "";
    }
}

Look lookOf(const XmlNode& run, Look look) {
    if (const XmlNode* const properties = run.child("rPr")) {
        for (const XmlNode& property : properties->children) {
            noteRunProperty(look, property);
        }
    }
    return look;
}

/// What a drawing, or a shape in it, says of itself; empty for other elements.
std::string wordsAbout(const XmlNode& node) {
    if (!isOneOf(node.local, {"docPr", "cNvPr", "shape", "imagedata"})) {
        return {};
    }
    std::string words;
    for (const std::string_view name : {"title", "descr", "alt"}) {
        const std::string_view more = node.attribute(name);
        if (!isBlankText(more) && words != more) {
            words += (words.empty() ? "" : ": ") + std::string(more);
        }
    }
    return words;
}

bool isAlternative(const XmlNode& node) { return node.local == "Choice" || node.local == "Fallback"; }

enum class Alternatives { Shown, All };

class Collector {
public:
    /// @param alternatives  whether all of alternate content is collected: finding out which one is shown would take
    ///                      twice the time for each that lies in another.
    explicit Collector(std::vector<Piece>& pieces, Alternatives alternatives = Alternatives::Shown)
        : pieces_(&pieces), alternatives_(alternatives) {}

    void collectInside(const XmlNode& node, const Look& look) {
        for (const XmlNode& child : node.children) {
            collect(child, look);
        }
    }

private:
    void collect(const XmlNode& node, const Look& look) {
        if (node.isText()) {
            add(Piece::Kind::Text, isBlankText(node.text) ? "" : node.text, look);
        } else if (!isSettings(node) && !addText(node, look) && !addApart(node, look)) {
            collectInside(node, lookInside(node, look));
            if (isOneOf(node.local, {"drawing", "pict", "object"})) {
                tellWords(look);
            }
        }
    }

    /// A drawing without a picture, such as a shape, may have a description that is all that can be shown of it.
    /// Words about a drawing that no picture took would otherwise be lost.
    void tellWords(const Look& look) {
        if (!areWordsTold_) {
            add(Piece::Kind::Remark, "drawing: " + words_, look);
        }
        words_.clear();
        areWordsTold_ = true;
    }

    void takeWords(std::string words, const Look& look) {
        if (!words.empty() && words != words_) {
            tellWords(look);
            words_ = std::move(words);
            areWordsTold_ = false;
        }
    }

    void add(Piece::Kind kind, std::string text, const Look& look, const XmlNode* node = nullptr) {
        // Editors cut runs at every correction; pieces that look alike are joined, so that words stay in one element.
        const bool isMore = kind == Piece::Kind::Text && node == nullptr && !pieces_->empty() &&
                            pieces_->back().kind == kind && pieces_->back().node == nullptr &&
                            pieces_->back().look == look;
        if (isMore) {
            pieces_->back().text += text;
        } else if (!text.empty() || node != nullptr) {
            pieces_->push_back({kind, std::move(text), look, node, words_});
        }
    }

    /// What an element that is text, or stands for characters, adds. @returns whether it is one.
    bool addText(const XmlNode& node, const Look& look) {
        const std::string_view name = node.local;
        if (name == "t" || name == "delText") {
            // Alone, so that the text that counts as code is a piece of its own.
            add(Piece::Kind::Text, node.allText(), look, &node);
        } else if (name == "tab" || name == "ptab") {
            add(Piece::Kind::Text, "\t", look);
        } else if (name == "br" || name == "cr") {
            add(Piece::Kind::Text, "\n", look);
        } else if (name == "noBreakHyphen") {
            add(Piece::Kind::Text, "\u2011", look);
        } else if (name == "softHyphen") {
            add(Piece::Kind::Text, "\u00AD", look);
        } else if (name == "sym") {
            addSymbol(node, look);
        } else if (name == "textpath") {
            add(Piece::Kind::Text, std::string(node.attribute("string")), look);
        } else if (name == "instrText" || name == "delInstrText") {
            add(Piece::Kind::Remark, "field:" + node.allText(), look);
        } else {
            return false;
        }
        return true;
    }

    void addSymbol(const XmlNode& node, const Look& look) {
        const std::string symbol = symbolOf(node.attribute("font"), node.attribute("char"));
        if (symbol.empty()) {
            add(Piece::Kind::Remark,
                "symbol " + std::string(node.attribute("char")) + " of " + std::string(node.attribute("font")), look);
        } else {
            add(Piece::Kind::Text, symbol, look);
        }
    }

    /// What an element that is no text adds by itself. @returns whether nothing inside is to be looked at.
    bool addApart(const XmlNode& node, const Look& look) {
        if (isFormula(node)) {
            add(Piece::Kind::Formula, "", look, &node);
        } else if (isOneOf(node.local, {"txbxContent", "p", "tbl"})) {
            add(Piece::Kind::Blocks, "", look, &node);
        } else if (node.local == "AlternateContent") {
            if (alternatives_ == Alternatives::All) {
                return false;
            }
            forEachShown(node, [&](const XmlNode& each) { collect(each, look); });
        } else if (node.local == "ruby") {
            addRuby(node, look);
        } else {
            addPicture(node, look);
            if (const std::string remark = remarkOn(node); !remark.empty()) {
                add(Piece::Kind::Remark, remark, look);
            }
            return false;
        }
        return true;
    }

    void addRuby(const XmlNode& node, const Look& look) {
        for (const XmlNode& child : node.children) {
            if (child.local != "rt") {
                collect(child, look);
            }
        }
        if (const XmlNode* const reading = node.child("rt")) {
            add(Piece::Kind::Text, " (", look);
            collectInside(*reading, look);
            add(Piece::Kind::Text, ")", look);
        }
    }

    void addPicture(const XmlNode& node, const Look& look) {
        takeWords(wordsAbout(node), look);
        if (node.local != "blip" && node.local != "imagedata") {
            return;
        }
        const std::string_view stored = node.attribute(kRelationshipNamespace, node.local == "blip" ? "embed" : "id");
        const std::string_view linked = node.attribute(kRelationshipNamespace, node.local == "blip" ? "link" : "href");
        // A linked picture is not in the flowbook, and nothing outside is ever loaded.
        if (!stored.empty() || linked.empty()) {
            add(Piece::Kind::Picture, std::string(stored), look, &node);
            areWordsTold_ = true;
        } else {
            add(Piece::Kind::Remark, "picture outside of the flowbook, relationship " + std::string(linked), look);
        }
    }

    Look lookInside(const XmlNode& node, Look look) {
        const std::string_view name = node.local;
        if (name == "r") {
            return lookOf(node, std::move(look));
        }
        if (name == "hyperlink") {
            look.link = node.attribute(kRelationshipNamespace, "id");
        } else if (name == "fldSimple") {
            add(Piece::Kind::Remark, "field: " + std::string(node.attribute("instr")), look);
        }
        look.inserted = look.inserted || name == "ins" || name == "moveTo";
        look.deleted = look.deleted || name == "del" || name == "moveFrom";
        return look;
    }

    std::vector<Piece>* pieces_;
    Alternatives alternatives_;
    std::string words_;  ///< about the drawing that is being read
    bool areWordsTold_ = true;
};

}  // namespace

bool Look::operator==(const Look& other) const {
    const auto all = [](const Look& look) {
        return std::tie(look.bold, look.italic, look.underline, look.strike, look.raised, look.lowered, look.fixed,
                        look.concealed, look.inserted, look.deleted, look.link, look.language);
    };
    return all(*this) == all(other);
}

std::vector<Piece> piecesOf(const XmlNode& paragraph) {
    std::vector<Piece> pieces;
    Collector(pieces).collectInside(paragraph, {});
    return pieces;
}

bool isShown(const Piece& piece) { return piece.kind != Piece::Kind::Text || !isBlankText(piece.text); }

const XmlNode* shownAlternative(const XmlNode& alternateContent) {
    const auto showsSomething = [](const XmlNode& node) {
        std::vector<Piece> pieces;
        Collector(pieces, Alternatives::All).collectInside(node, {});
        return std::any_of(pieces.begin(), pieces.end(),
                           [](const Piece& piece) { return piece.kind != Piece::Kind::Remark && isShown(piece); });
    };
    const std::vector<XmlNode>& all = alternateContent.children;
    const auto found =
        std::find_if(all.begin(), all.end(), [&](auto& each) { return isAlternative(each) && showsSomething(each); });
    const auto first = std::find_if(all.begin(), all.end(), isAlternative);
    return found != all.end() ? &*found : first != all.end() ? &*first : nullptr;
}

bool isShownIn(const XmlNode& child, const XmlNode* shownAlternative) {
    return &child == shownAlternative || !isAlternative(child);
}

std::string remarkOn(const XmlNode& node) {
    const auto* const found =
        std::find_if(std::begin(kElsewhere), std::end(kElsewhere), [&](auto& each) { return each.name == node.local; });
    if (found == std::end(kElsewhere)) {
        return {};
    }
    const std::string_view id = node.attribute("id");
    return std::string(found->called) + (id.empty() ? "" : " " + std::string(id)) + ", not shown";
}

bool isSettings(std::string_view local) {
    return std::find(std::begin(kSettings), std::end(kSettings), local) != std::end(kSettings);
}

bool isLanguage(std::string_view tag) {
    std::size_t length = 0;
    bool isFirst = true;
    for (const char c : std::string(tag) + "-") {
        const bool isEnd = c == '-';
        if (isEnd ? length == 0 || length > 8 || (isFirst && length > 3) || (isFirst && length < 2)
                  : std::isalnum(static_cast<unsigned char>(c)) == 0 ||
                        (isFirst && std::isalpha(static_cast<unsigned char>(c)) == 0)) {
            return false;
        }
        length = isEnd ? 0 : length + 1;
        isFirst = isFirst && !isEnd;
    }
    return tag.size() <= 35;
}

}  // namespace flowbook::kit
