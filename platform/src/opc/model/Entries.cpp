// Interleaved parts: one part that lies in several entries, its pieces (ECMA-376-2, 4th edition, 10.1.3). Only a
// sequence that is complete, without gaps and with one last piece, is put together. What looks like pieces and is no
// such sequence stays what it is in the container, entries that are no parts.
#include "opc/model/Entries.hpp"

#include "opc/names/Characters.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace opc::model::detail {
namespace {

using interfaces::PhysicalEntry;

struct Piece {
    std::size_t number;
    bool last;
    std::size_t entry;
};

/// The name of a piece, taken apart: "name/[number].piece" or "name/[number].last.piece".
struct PieceName {
    std::size_t wholeLength;  ///< of the name that the piece belongs to
    std::size_t number;
    bool last;
};

/// The pieces of each whole name, which is folded, as names in packages are equivalent regardless of letter case.
using Sequences = std::map<std::string, std::vector<Piece>>;

bool endsWith(std::string_view text, std::string_view lowerCaseEnding) {
    return text.size() >= lowerCaseEnding.size() &&
           std::equal(lowerCaseEnding.rbegin(), lowerCaseEnding.rend(), text.rbegin(),
                      [](char lower, char c) { return lower == fold(c); });
}

/// A number as pieces have it, without leading zeros; nothing for any other text.
std::optional<std::size_t> pieceNumber(std::string_view digits) {
    constexpr std::size_t kMaxDigits = 9;  // far more pieces than a container has entries
    if (digits.empty() || digits.size() > kMaxDigits || (digits[0] == '0' && digits.size() > 1)) {
        return std::nullopt;
    }
    std::size_t number = 0;
    for (const char c : digits) {
        if (!isDigit(static_cast<unsigned char>(c))) {
            return std::nullopt;
        }
        number = number * 10 + static_cast<std::size_t>(c - '0');
    }
    return number;
}

std::optional<PieceName> parsePieceName(std::string_view name) {
    constexpr std::string_view kPiece = "].piece";
    constexpr std::string_view kLastPiece = "].last.piece";
    const bool last = endsWith(name, kLastPiece);
    if (!last && !endsWith(name, kPiece)) {
        return std::nullopt;
    }
    name.remove_suffix(last ? kLastPiece.size() : kPiece.size());
    const std::size_t opening = name.rfind("/[");
    if (opening == std::string_view::npos || opening == 0) {
        return std::nullopt;
    }
    const std::optional<std::size_t> number = pieceNumber(name.substr(opening + 2));
    return number ? std::optional<PieceName>({opening, *number, last}) : std::nullopt;
}

Sequences findSequences(const std::vector<PhysicalEntry>& entries) {
    Sequences sequences;
    for (std::size_t at = 0; at != entries.size(); ++at) {
        if (const auto piece = parsePieceName(entries[at].name)) {
            sequences[fold(entries[at].name.substr(0, piece->wholeLength))].push_back({piece->number, piece->last, at});
        }
    }
    return sequences;
}

/// Puts the pieces in their order. @returns whether they are numbered from 0 without gaps, and the last one alone is
/// marked as the last.
bool isComplete(std::vector<Piece>& pieces) {
    std::sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) { return a.number < b.number; });
    for (std::size_t at = 0; at != pieces.size(); ++at) {
        if (pieces[at].number != at || pieces[at].last != (at + 1 == pieces.size())) {
            return false;
        }
    }
    return true;
}

/// For every entry the complete sequence that it is a piece of; null for most.
std::vector<std::vector<Piece>*> completeSequenceOf(Sequences& sequences, std::size_t entryCount) {
    std::vector<std::vector<Piece>*> sequenceOf(entryCount);
    for (auto& [name, pieces] : sequences) {
        if (isComplete(pieces)) {
            for (const Piece& piece : pieces) {
                sequenceOf[piece.entry] = &pieces;
            }
        }
    }
    return sequenceOf;
}

/// Returns a view of what was added to the order last.
Entries added(const std::vector<std::size_t>& order, std::size_t count) {
    return {order.data() + order.size() - count, count};
}

/// Adds the entries of all pieces to the order, and empties the list of pieces, by which the caller sees that they are
/// taken.
Entries takeEntries(std::vector<Piece>& pieces, std::vector<std::size_t>& order) {
    for (const Piece& piece : pieces) {
        order.push_back(piece.entry);
    }
    return added(order, std::exchange(pieces, {}).size());
}

std::string_view wholeName(std::string_view pieceName) {
    return pieceName.substr(0, parsePieceName(pieceName)->wholeLength);
}

}  // namespace

std::vector<LogicalEntry> logicalEntries(const std::vector<PhysicalEntry>& entries, std::vector<std::size_t>& order) {
    Sequences sequences = findSequences(entries);
    const auto sequenceOf = completeSequenceOf(sequences, entries.size());
    std::vector<LogicalEntry> logical;
    logical.reserve(entries.size());
    order.reserve(entries.size());  // it must not grow, or the views of it would end
    for (std::size_t at = 0; at != entries.size(); ++at) {
        if (sequenceOf[at] == nullptr) {
            order.push_back(at);
            logical.push_back({entries[at].name, added(order, 1)});
        } else if (!sequenceOf[at]->empty()) {
            logical.push_back({wholeName(entries[at].name), takeEntries(*sequenceOf[at], order)});
        }
    }
    return logical;
}

}  // namespace opc::model::detail
