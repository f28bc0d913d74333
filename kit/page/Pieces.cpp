// Takes a paragraph apart into what it shows. The markup has hundreds of elements, and new ones come with each version
// of an office suite. So the few that are known are read for their meaning, the few that only hold settings are left
// out, and all others are entered: an unknown element loses its look, and no word in it is lost.
#include "kit/page/Pieces.hpp"

#include "fl/i18n/Conversion.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/RichText.hpp"
#include "kit/page/FieldCodes.hpp"
#include "kit/page/Formula.hpp"
#include "kit/page/Symbols.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <tuple>
#include <utility>

namespace flowbook::kit {

namespace {

/// Elements that say how their siblings look or are edited.
constexpr std::string_view kSettings[] = {"pPr",         "rPr",     "tblPr",  "tblPrEx",  "tblGrid",
                                          "trPr",        "tcPr",    "sdtPr",  "sdtEndPr", "smartTagPr",
                                          "customXmlPr", "fldData", "ffData", "rubyPr"};

/// Elements that stand for a character.
constexpr std::pair<std::string_view, const char*> kCharacters[] = {
    {"tab", "\t"}, {"ptab", "\t"}, {"br", "\n"}, {"cr", "\n"}, {"noBreakHyphen", "\u2011"}, {"softHyphen", "\u00AD"}};

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
    Collector(std::vector<Piece>& pieces, const Styles* styles, Alternatives alternatives = Alternatives::Shown)
        : pieces_(&pieces), styles_(styles), alternatives_(alternatives) {}

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
                addWords(look);
            }
        }
    }

    /// A drawing without a picture, such as a shape, may have a description that is all that can be shown of it.
    /// Words about a drawing that no picture took would otherwise be lost.
    void addWords(const Look& look) {
        if (!areWordsAdded_) {
            add(Piece::Kind::Remark, "drawing: " + words_, look);
        }
        words_.clear();
        areWordsAdded_ = true;
    }

    void takeWords(std::string words, const Look& look) {
        if (!words.empty() && words != words_) {
            addWords(look);
            words_ = std::move(words);
            areWordsAdded_ = false;
        }
    }

    void add(Piece::Kind kind, std::string text, const Look& given, const XmlNode* node = nullptr) {
        Look look = given;
        if (!fields_.empty()) {
            leadTo(look, fields_.back().target);
        }
        // Editors cut runs at every correction; pieces that look alike are joined, so that words stay in one element.
        const bool isMore = kind == Piece::Kind::Text && node == nullptr && !pieces_->empty() &&
                            pieces_->back().kind == kind && pieces_->back().node == nullptr &&
                            pieces_->back().look == look;
        if (isMore) {
            pieces_->back().text += text;
        } else if (!text.empty() || node != nullptr) {
            pieces_->push_back({kind, std::move(text), std::move(look), node, words_});
        }
    }

    /// What an element that is text, or stands for characters, adds. @returns whether it is one.
    bool addText(const XmlNode& node, const Look& look) {
        const std::string_view name = node.local;
        const auto* const character = std::find_if(std::begin(kCharacters), std::end(kCharacters),
                                                   [&](const auto& each) { return each.first == name; });
        if (character != std::end(kCharacters)) {
            add(Piece::Kind::Text, character->second, look);
        } else if (name == "t" || name == "delText") {
            // Alone, so that the text that counts as code is a piece of its own.
            add(Piece::Kind::Text, node.allText(), look, &node);
        } else if (name == "sym") {
            addSymbol(node, look);
        } else if (name == "textpath") {
            add(Piece::Kind::Text, std::string(node.attribute("string")), look);
        } else if (name == "instrText" || name == "delInstrText") {
            const std::string code = node.allText();
            add(Piece::Kind::Remark, "field:" + code, look);
            if (!fields_.empty()) {
                fields_.back().code += code;
            }
        } else if (name == "fldChar") {
            noteField(node);
            return false;
        } else if (name == "bookmarkStart") {
            pieces_->push_back({Piece::Kind::Bookmark, "", look, &node, std::string(node.attribute("name"))});
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
            if (!areWordsAdded_) {
                addWords(look);
            }
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
                add(Piece::Kind::Remark, remark, look, &node);
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
            areWordsAdded_ = true;
        } else {
            add(Piece::Kind::Remark, "picture outside of the flowbook, relationship " + std::string(linked), look);
        }
    }

    Look lookInside(const XmlNode& node, Look look) {
        const std::string_view name = node.local;
        if (name == "r") {
            return lookOfRun(node.child("rPr"), std::move(look));
        }
        if (name == "hyperlink") {
            look.link = node.attribute(kRelationshipNamespace, "id");
            look.bookmark = node.attribute("anchor");
        } else if (name == "fldSimple") {
            add(Piece::Kind::Remark, "field: " + std::string(node.attribute("instr")), look);
            leadTo(look, targetOfField(node.attribute("instr")));
        }
        look.inserted = look.inserted || name == "ins" || name == "moveTo";
        look.deleted = look.deleted || name == "del" || name == "moveFrom";
        return look;
    }

    Look lookOfRun(const XmlNode* properties, Look look) const {
        if (styles_ != nullptr) {
            return styles_->lookOfRun(properties, look);
        }
        applyStyleName(look, characterStyleIn(properties), false);
        applyRunProperties(look, properties);
        return look;
    }

    /// Makes a text a link, unless it is one.
    static void leadTo(Look& look, const FieldTarget& target) {
        if (look.link.empty() && look.address.empty() && look.bookmark.empty()) {
            look.address = target.address;
            look.bookmark = target.bookmark;
        }
    }

    /// A field that stands in several runs begins, goes over to its result, or ends. One in the result of another
    /// leads where that one does, until it has a result of its own.
    void noteField(const XmlNode& mark) {
        const std::string_view type = mark.attribute("fldCharType");
        if (type == "begin") {
            fields_.push_back({"", fields_.empty() ? FieldTarget() : fields_.back().target});
        } else if (type == "separate" && !fields_.empty()) {
            const FieldTarget own = targetOfField(fields_.back().code);
            const bool isLink = !own.address.empty() || !own.bookmark.empty();
            fields_.back().target = isLink ? own : fields_.back().target;
        } else if (type == "end" && !fields_.empty()) {
            fields_.pop_back();
        }
    }

    struct Field {
        std::string code;
        FieldTarget target;
    };

    std::vector<Piece>* pieces_;
    const Styles* styles_;
    Alternatives alternatives_;
    std::vector<Field> fields_;  ///< that have begun and not ended, the innermost last
    std::string words_;          ///< about the drawing that is being read
    bool areWordsAdded_ = true;
};

}  // namespace

std::vector<Piece> piecesOf(const XmlNode& paragraph, const Styles* styles, const Look& around) {
    std::vector<Piece> pieces;
    Collector collector(pieces, styles);
    collector.collectInside(paragraph, around);
    // The last paragraph of a section refers to what stands above and below its pages.
    const XmlNode* const properties = paragraph.child("pPr");
    if (const XmlNode* const section = properties == nullptr ? nullptr : properties->child("sectPr")) {
        collector.collectInside(*section, {});
    }
    return pieces;
}

bool isShown(const Piece& piece) {
    return piece.kind == Piece::Kind::Text ? !isBlankText(piece.text) : piece.kind != Piece::Kind::Bookmark;
}

const XmlNode* shownAlternative(const XmlNode& alternateContent) {
    const auto showsSomething = [](const XmlNode& node) {
        std::vector<Piece> pieces;
        Collector(pieces, nullptr, Alternatives::All).collectInside(node, {});
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

std::string nameOfNote(const XmlNode& node) {
    const auto* const found =
        std::find_if(std::begin(kElsewhere), std::end(kElsewhere), [&](auto& each) { return each.name == node.local; });
    if (found == std::end(kElsewhere)) {
        return {};
    }
    const std::string_view id = node.attribute("id");
    return std::string(found->called) + (id.empty() ? "" : " " + std::string(id));
}

std::string remarkOn(const XmlNode& node) {
    const std::string name = nameOfNote(node);
    return name.empty() ? "" : name + ", not shown";
}

bool isSettings(std::string_view local) {
    return std::find(std::begin(kSettings), std::end(kSettings), local) != std::end(kSettings);
}

}  // namespace flowbook::kit
