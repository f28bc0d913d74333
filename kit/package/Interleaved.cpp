#include "kit/package/Interleaved.hpp"

#include "kit/document/Characters.hpp"
#include "kit/document/EntryNames.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace flowbook::kit {

namespace {

/// What the name of a piece says.
struct PieceName {
    std::string whole;
    std::size_t number;
    bool isLast;
};

struct NumberedPiece {
    std::size_t number;
    bool isLast;
    ZipPiece* piece;
};

std::optional<PieceName> parse(const std::string& entry) {
    const std::size_t opening = entry.rfind("/[");
    const std::size_t closing = opening == std::string::npos ? opening : entry.find(']', opening);
    if (closing == std::string::npos || opening == 0) {
        return std::nullopt;
    }
    const std::string digits = entry.substr(opening + 2, closing - opening - 2);
    const std::string ending = fold(entry.substr(closing));
    const bool isNumber = !digits.empty() && digits.size() < 10 &&
                          digits.find_first_not_of("0123456789") == std::string::npos &&
                          (digits == "0" || digits.front() != '0');
    if (!isNumber || (ending != "].piece" && ending != "].last.piece")) {
        return std::nullopt;
    }
    return PieceName{entry.substr(0, opening), std::stoul(digits), ending == "].last.piece"};
}

/// Puts together what comes before a gap, and leaves those pieces without a name. The first piece is there.
ZipPiece joined(std::vector<NumberedPiece>& pieces) {
    ZipPiece whole{parse(pieces.front().piece->name)->whole, "", {}, true};
    std::size_t next = 0;
    for (auto each = pieces.begin(); each != pieces.end() && whole.isWhole; ++each) {
        if (each->number != next++) {
            whole.isWhole = false;
            break;
        }
        const bool isLast = std::next(each) == pieces.end();
        whole.isWhole = each->piece->isWhole && each->isLast == isLast;
        whole.content.insert(whole.content.end(), each->piece->content.begin(), each->piece->content.end());
        each->piece->name.clear();
    }
    return whole;
}

}  // namespace

bool joinInterleaved(std::vector<ZipPiece>& pieces) {
    std::map<std::string, std::vector<NumberedPiece>> sequences;
    std::set<std::string> names;
    for (ZipPiece& piece : pieces) {
        const std::optional<PieceName> name = parse(piece.name);
        if (name && !piece.isSpare && !piece.isOlder) {
            sequences[fold(name->whole)].push_back({name->number, name->isLast, &piece});
        }
        names.insert(fold(piece.name));
    }
    for (auto& [folded, sequence] : sequences) {
        std::stable_sort(sequence.begin(), sequence.end(),
                         [](const auto& a, const auto& b) { return a.number < b.number; });
        if (sequence.front().number == 0) {
            ZipPiece whole = joined(sequence);
            whole.isSpare = names.count(folded) != 0;
            *sequence.front().piece = std::move(whole);
        }
    }
    pieces.erase(std::remove_if(pieces.begin(), pieces.end(), [](const auto& each) { return each.name.empty(); }),
                 pieces.end());
    return !sequences.empty();
}

}  // namespace flowbook::kit
