#include "kit/page/Inline.hpp"

#include "kit/page/Formula.hpp"
#include "kit/page/Wording.hpp"

namespace flowbook::kit {

namespace {

// The target of one link may be that of any number of runs.
constexpr std::size_t kMostLinkBytes = std::size_t{16} << 20;

}  // namespace

void InlineWriter::write(const Piece& piece) {
    if (piece.kind == Piece::Kind::Formula) {
        writeFormula(*out_, *piece.node, FormulaPlace::InText);
    } else if (piece.kind == Piece::Kind::Remark) {
        out_->element("span", {{"class", "remark"}}, "[" + piece.text + "]");
    } else {
        writeText(piece);
    }
}

void InlineWriter::writeText(const Piece& piece) {
    const Look& look = piece.look;
    // A link needs words, so a blank is none.
    const std::string_view target = isBlankText(piece.text) ? std::string_view() : targetOf(look);
    std::size_t open = 0;
    const auto openIf = [&](bool wanted, Markup::Name name, Markup::Attributes attributes = {}) {
        if (wanted) {
            out_->open(name, attributes);
            ++open;
        }
    };
    openIf(!target.empty(), "a", {{"href", target}, {"rel", "noopener noreferrer"}});
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

std::string_view InlineWriter::targetOf(const Look& look) {
    const std::string_view target = look.link.empty() ? std::string_view() : figures_->linkTarget(look.link);
    linkBytes_ += target.size();
    return linkBytes_ <= kMostLinkBytes ? target : std::string_view();
}

}  // namespace flowbook::kit
