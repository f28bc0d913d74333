// Writes formulas of office suites (OMML, ECMA-376-1, part 1, 22.1) as MathML. Each element has a counterpart that
// takes a fixed number of arguments; where the formula has others, such as a second exponent, it is written as a plain
// row: that loses its shape, but no symbol of it.
#include "kit/page/Formula.hpp"

#include "kit/document/Characters.hpp"
#include "kit/page/Wording.hpp"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace flowbook::kit {

namespace {

constexpr std::size_t kLongestForPage = 25;

void writeMathNode(Markup& out, const XmlNode& node);
void writeMathInside(Markup& out, const XmlNode& node);

void writeMathRow(Markup& out, const XmlNode* node) {
    out.open("mrow");
    if (node != nullptr) {
        writeMathInside(out, *node);
    }
    out.close();
}

/// An element of MathML whose arguments are children of the node, by their names.
template <class... Names>
void writeWith(Markup& out, Markup::Name element, const XmlNode& node, Names... children) {
    out.open(element);
    (writeMathRow(out, node.child(children)), ...);
    out.close();
}

std::string propertyOf(const XmlNode& node, std::string_view properties, std::string_view name,
                       std::string_view otherwise) {
    const XmlNode* const all = node.child(properties);
    const XmlNode* const one = all == nullptr ? nullptr : all->child(name);
    return std::string(one == nullptr ? otherwise : one->attribute("val"));
}

bool isSet(const XmlNode& node, std::string_view properties, std::string_view name) {
    const std::string value = propertyOf(node, properties, name, "0");
    return value != "0" && value != "false" && value != "off";
}

std::size_t numberEnd(std::string_view text, std::size_t at) {
    while (at < text.size() && (std::isdigit(static_cast<unsigned char>(text[at])) != 0 || text[at] == '.')) {
        ++at;
    }
    return at;
}

/// Numbers, names of one letter, and operators; blanks stay text.
void writeSymbols(Markup& out, std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto first = static_cast<unsigned char>(text[at]);
        const bool isNumber = std::isdigit(first) != 0;
        const std::size_t end = isNumber ? numberEnd(text, at) : characterEnd(text, at);
        const std::string_view symbol = text.substr(at, end - at);
        if (isNumber) {
            out.element("mn", symbol);
        } else if (std::isspace(first) != 0) {
            out.element("mtext", symbol);
            // From U+0380 on: Greek and other letters; what is below are Latin letters with marks and signs.
        } else if (std::isalpha(first) != 0 || first >= 0xCE) {
            out.element("mi", symbol);
        } else {
            out.element("mo", symbol);
        }
        at = end;
    }
}

void writeMathRun(Markup& out, const XmlNode& node) {
    const XmlNode* const properties = node.child("rPr");
    const bool isWords = properties != nullptr && properties->child("nor") != nullptr;
    for (const XmlNode& child : node.children) {
        if (child.local != "t") {
            writeMathNode(out, child);
        } else if (isWords) {
            out.element("mtext", child.allText());
        } else {
            writeSymbols(out, child.allText());
        }
    }
}

void writeRoot(Markup& out, const XmlNode& node) {
    const XmlNode* const degree = node.child("deg");
    // The degree is dropped only when it holds nothing: a hidden one may have been edited since.
    const bool isSquare = degree == nullptr || isSet(node, "radPr", "degHide") || degree->allText().empty();
    if (isSquare && (degree == nullptr || degree->allText().empty())) {
        writeWith(out, "msqrt", node, "e");
    } else {
        writeWith(out, "mroot", node, "e", "deg");
    }
}

/// A sum, an integral or the like, with its limits.
void writeLarge(Markup& out, const XmlNode& node) {
    out.open("mrow");
    if (propertyOf(node, "naryPr", "limLoc", "undOvr") == "subSup") {
        out.open("msubsup");
    } else {
        out.open("munderover");
    }
    // Without a character of its own such a sign is an integral (ECMA-376-1, part 1, 22.1.2.20).
    out.element("mo", propertyOf(node, "naryPr", "chr", "\u222B"));
    writeMathRow(out, node.child("sub"));
    writeMathRow(out, node.child("sup"));
    out.close();
    writeMathRow(out, node.child("e"));
    out.close();
}

void writeMark(Markup& out, std::string_view mark) {
    if (!mark.empty()) {
        out.element("mo", mark);
    }
}

void writeBracketed(Markup& out, const XmlNode& node) {
    out.open("mrow");
    writeMark(out, propertyOf(node, "dPr", "begChr", "("));
    bool isFirst = true;
    for (const XmlNode& child : node.children) {
        if (child.local == "e") {
            writeMark(out, isFirst ? "" : propertyOf(node, "dPr", "sepChr", "|"));
            writeMathRow(out, &child);
            isFirst = false;
        }
    }
    writeMark(out, propertyOf(node, "dPr", "endChr", ")"));
    out.close();
}

void writeAccent(Markup& out, const XmlNode& node) {
    const bool isGroup = node.local == "groupChr";
    const std::string mark =
        isGroup ? propertyOf(node, "groupChrPr", "chr", "\u23DF") : propertyOf(node, "accPr", "chr", "\u0302");
    out.open(isGroup ? Markup::Name("munder") : Markup::Name("mover"));
    writeMathRow(out, node.child("e"));
    out.element("mo", mark).close();
}

void writeBar(Markup& out, const XmlNode& node) {
    out.open(propertyOf(node, "barPr", "pos", "bot") == "top" ? Markup::Name("mover") : Markup::Name("munder"));
    writeMathRow(out, node.child("e"));
    out.element("mo", "\u00AF").close();
}

/// A matrix has rows of cells; an array of equations has one cell a row.
void writeMathTable(Markup& out, const XmlNode& node) {
    out.open("mtable");
    for (const XmlNode& row : node.children) {
        const bool hasCells = row.local == "mr";
        if (!hasCells && row.local != "e") {
            continue;
        }
        out.open("mtr");
        const XmlNode* const end = hasCells ? row.children.data() + row.children.size() : &row + 1;
        for (const XmlNode* cell = hasCells ? row.children.data() : &row; cell != end; ++cell) {
            out.open("mtd");
            hasCells && cell->local != "e" ? writeMathNode(out, *cell) : writeMathInside(out, *cell);
            out.close();
        }
        out.close();
    }
    out.close();
}

void writeScriptsBefore(Markup& out, const XmlNode& node) {
    out.open("mmultiscripts");
    writeMathRow(out, node.child("e"));
    out.open("mprescripts").close();
    writeMathRow(out, node.child("sub"));
    writeMathRow(out, node.child("sup"));
    out.close();
}

struct FormulaWriter {
    std::string_view name;
    std::string_view children;  ///< names of the children that are written, each with a blank before and behind it
    void (*write)(Markup& out, const XmlNode& node);
    bool takesMany = false;  ///< whether children may have the same name
};

constexpr FormulaWriter kWriters[] = {
    {"f", " num den ", [](Markup& out, const XmlNode& node) { writeWith(out, "mfrac", node, "num", "den"); }},
    {"sSup", " e sup ", [](Markup& out, const XmlNode& node) { writeWith(out, "msup", node, "e", "sup"); }},
    {"sSub", " e sub ", [](Markup& out, const XmlNode& node) { writeWith(out, "msub", node, "e", "sub"); }},
    {"sSubSup", " e sub sup ",
     [](Markup& out, const XmlNode& node) { writeWith(out, "msubsup", node, "e", "sub", "sup"); }},
    {"limLow", " e lim ", [](Markup& out, const XmlNode& node) { writeWith(out, "munder", node, "e", "lim"); }},
    {"limUpp", " e lim ", [](Markup& out, const XmlNode& node) { writeWith(out, "mover", node, "e", "lim"); }},
    {"sPre", " sub sup e ", writeScriptsBefore},
    {"rad", " deg e ", writeRoot},
    {"nary", " sub sup e ", writeLarge},
    {"acc", " e ", writeAccent},
    {"groupChr", " e ", writeAccent},
    {"bar", " e ", writeBar},
    {"d", " e ", writeBracketed, true},
    {"m", " mr ", writeMathTable, true},
    {"eqArr", " e ", writeMathTable, true}};

/// Whether the writer of an element writes all that is in it.
bool writesAll(const FormulaWriter& writer, const XmlNode& node) {
    std::string taken = " ";
    for (const XmlNode& child : node.children) {
        const std::string name = " " + std::string(child.local) + " ";
        const bool isTaken = writer.children.find(name) != std::string_view::npos &&
                             (writer.takesMany || taken.find(name) == std::string::npos);
        if (child.isText() ? !isBlankText(child.text) : !isTaken && !endsWith(child.local, "Pr")) {
            return false;
        }
        taken += name.substr(1);
    }
    return true;
}

void writeMathNode(Markup& out, const XmlNode& node) {
    const auto* const found =
        std::find_if(std::begin(kWriters), std::end(kWriters), [&](auto& each) { return each.name == node.local; });
    if (node.isText()) {
        if (!isBlankText(node.text)) {
            out.element("mtext", node.text);
        }
    } else if (node.local == "r") {
        writeMathRun(out, node);
    } else if (found != std::end(kWriters) && writesAll(*found, node)) {
        found->write(out, node);
    } else if (node.local == "t" || node.local == "delText") {
        out.element("mtext", node.allText());
    } else if (!endsWith(node.local, "Pr")) {
        writeMathRow(out, &node);
    }
}

void writeMathInside(Markup& out, const XmlNode& node) {
    for (const XmlNode& child : node.children) {
        writeMathNode(out, child);
    }
}

}  // namespace

void writeFormula(Markup& out, const XmlNode& formula, FormulaPlace place) {
    if (formula.local == "oMathPara") {
        for (const XmlNode& child : formula.children) {
            writeFormula(out, child, FormulaPlace::Apart);
        }
    } else if (!endsWith(formula.local, "Pr") && !formula.allText().empty()) {
        const std::string_view display = place == FormulaPlace::Apart ? "block" : "inline";
        // One that may be wider than the page is scrolled, which has to be possible by keys.
        formula.allText().size() > kLongestForPage ? out.open("math", {{"display", display}, {"tabindex", "0"}})
                                                   : out.open("math", {{"display", display}});
        writeMathInside(out, formula);
        out.close();
    }
}

bool isFormula(const XmlNode& node) { return node.local == "oMath" || node.local == "oMathPara"; }

}  // namespace flowbook::kit
