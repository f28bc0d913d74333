#include "kit/page/Inline.hpp"

#include "kit/page/Formula.hpp"
#include "kit/page/Wording.hpp"

#include <utility>

namespace flowbook::kit {

void InlineWriter::write(const Piece& piece) {
    if (piece.kind == Piece::Kind::Formula) {
        writeFormula(*out_, *piece.node, FormulaPlace::InText);
    } else if (piece.kind == Piece::Kind::Bookmark) {
        if (const std::string id = links_->idFor(piece.words); !id.empty()) {
            out_->element("span", {{"id", id}}, "");
        }
    } else if (piece.kind == Piece::Kind::Remark) {
        writeRemark(piece);
    } else {
        writeText(piece);
    }
}

void InlineWriter::writeRemark(const Piece& piece) {
    const auto [target, id] =
        piece.node == nullptr ? std::pair<std::string, std::string>() : links_->noteOf(*piece.node);
    if (target.empty()) {
        out_->element("span", {{"class", "remark"}}, "[" + piece.text + "]");
        return;
    }
    const std::string words = "[" + nameOfNote(*piece.node) + "]";
    id.empty() ? out_->element("a", {{"class", "remark"}, {"href", target}}, words)
               : out_->element("a", {{"class", "remark"}, {"href", target}, {"id", id}}, words);
}

void InlineWriter::writeText(const Piece& piece) {
    const Look& look = piece.look;
    // A link needs words, so a blank is none.
    const std::string target = isBlankText(piece.text) ? std::string() : links_->targetOf(look);
    const bool isInPage = !target.empty() && target.front() == '#';
    std::size_t open = 0;
    const auto openIf = [&](bool wanted, Markup::Name name, Markup::Attributes attributes = {}) {
        if (wanted) {
            out_->open(name, attributes);
            ++open;
        }
    };
    openIf(isInPage, "a", {{"href", target}});
    openIf(!target.empty() && !isInPage, "a", {{"href", target}, {"rel", "noopener noreferrer"}});
    openIf(look.inserted, "ins");
    openIf(look.deleted, "del");
    openIf(look.concealed, "span", {{"class", "concealed"}});
    openIf(!look.language.empty(), "span", {{"lang", look.language}});
    openIf(look.bold, "strong");
    openIf(look.italic, "em");
    openIf(look.underline, "u");
    openIf(look.strike, "s");
    openIf(look.raised, "sup");
    openIf(look.lowered, "sub");
    openIf(look.fixed, "code", {{"translate", "no"}});
    for (out_->lines(piece.text); open > 0; --open) {
        out_->close();
    }
}

}  // namespace flowbook::kit
