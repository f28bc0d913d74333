// Deflate (RFC 1951) of literals alone, in blocks with dynamic Huffman codes. Each block gets the codes that fit its
// own bytes; nothing refers back to earlier bytes, so that time and size depend on the counts of the bytes only.
#include "opc/zippackage/LiteralDeflate.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <endian.h>
#include <numeric>

namespace opc::zippackage {
namespace {

/// Bytes that share one set of codes. The description of a set is then a third of a thousandth of the result.
constexpr std::size_t kBlockSize = std::size_t{1} << 19;

constexpr std::size_t kEndOfBlock = 256;
constexpr std::size_t kSymbols = 257;

/// Four codes of 14 bits, and up to 7 bits that are left of the last byte, fit into the 64 bits that are written at a
/// time. Deflate permits codes of 15 bits.
constexpr unsigned kLongestCode = 14;
constexpr std::size_t kCodesAtOnce = 4;

using Counts = std::array<std::uint32_t, kSymbols>;
using Lengths = std::array<std::uint8_t, kSymbols>;

struct Code {
    std::uint16_t bits;
    std::uint16_t length;
};

/// Counts in four tables in turn. With one table, two equal bytes in a row would make the processor wait for its own
/// last addition.
Counts countsOf(std::string_view block) noexcept {
    std::array<std::array<std::uint32_t, 256>, 4> tables{};
    std::size_t at = 0;
    for (; block.size() - at >= 4; at += 4) {
        for (std::size_t i = 0; i != 4; ++i) {
            ++tables[i][static_cast<unsigned char>(block[at + i])];
        }
    }
    for (; at != block.size(); ++at) {
        ++tables[0][static_cast<unsigned char>(block[at])];
    }
    Counts counts{};
    for (std::size_t symbol = 0; symbol != 256; ++symbol) {
        counts[symbol] = tables[0][symbol] + tables[1][symbol] + tables[2][symbol] + tables[3][symbol];
    }
    counts[kEndOfBlock] = 1;
    return counts;
}

/// A Huffman tree over the symbols that occur. The nodes hold the leaves first, sorted by their counts, then the inner
/// nodes in the order of their making. The counts of those come out sorted too, so that the two smallest nodes are
/// always at the front of one list or the other, and no heap is needed.
class HuffmanTree {
public:
    explicit HuffmanTree(const Counts& counts) noexcept {
        for (std::size_t symbol = 0; symbol != kSymbols; ++symbol) {
            if (counts[symbol] != 0) {
                nodes_[leaves_++] = {counts[symbol], 0, static_cast<std::uint16_t>(symbol), 0};
            }
        }
        std::sort(nodes_.begin(), nodes_.begin() + static_cast<std::ptrdiff_t>(leaves_),
                  [](const Node& a, const Node& b) { return a.count < b.count; });
        for (end_ = inner_ = leaves_; (leaves_ - leaf_) + (end_ - inner_) > 1; ++end_) {
            const std::size_t first = takeSmallest();
            const std::size_t second = takeSmallest();
            nodes_[end_].count = nodes_[first].count + nodes_[second].count;
            nodes_[first].parent = nodes_[second].parent = static_cast<std::uint16_t>(end_);
        }
    }

    /// Sets the lengths of the codes. @returns the longest.
    unsigned setLengths(Lengths& lengths) noexcept {
        lengths.fill(0);
        // Parents come after their children, so that going backwards meets each parent first.
        nodes_[end_ - 1].depth = 0;
        unsigned longest = 0;
        for (std::size_t at = end_ - 1; at-- != 0;) {
            nodes_[at].depth = static_cast<std::uint16_t>(nodes_[nodes_[at].parent].depth + 1);
            if (at < leaves_) {
                lengths[nodes_[at].symbol] = static_cast<std::uint8_t>(nodes_[at].depth);
                longest = std::max<unsigned>(longest, nodes_[at].depth);
            }
        }
        return longest;
    }

private:
    struct Node {
        std::uint32_t count;
        std::uint16_t parent;
        std::uint16_t symbol;
        std::uint16_t depth;
    };

    std::size_t takeSmallest() noexcept {
        const bool isLeaf = leaf_ != leaves_ && (inner_ == end_ || nodes_[leaf_].count <= nodes_[inner_].count);
        return isLeaf ? leaf_++ : inner_++;
    }

    std::array<Node, 2 * kSymbols> nodes_{};
    std::size_t leaves_ = 0;
    std::size_t leaf_ = 0;   ///< the first leaf without a parent
    std::size_t inner_ = 0;  ///< the first inner node without a parent
    std::size_t end_ = 0;
};

/// Returns the lengths of the codes. If one is too long, the counts are brought closer together and the tree is made
/// anew. That happens to few contents, and rounding up keeps a symbol that occurs from vanishing.
Lengths lengthsOf(Counts counts) noexcept {
    Lengths lengths{};
    while (HuffmanTree(counts).setLengths(lengths) > kLongestCode) {
        for (std::uint32_t& count : counts) {
            count = (count + 1) / 2;
        }
    }
    return lengths;
}

std::uint64_t bitsOf(const Counts& counts, const Lengths& lengths) noexcept {
    std::uint64_t bits = 0;
    for (std::size_t symbol = 0; symbol != kSymbols; ++symbol) {
        bits += std::uint64_t{counts[symbol]} * lengths[symbol];
    }
    return bits;
}

std::uint16_t reversed(unsigned bits, unsigned length) noexcept {
    unsigned result = 0;
    for (unsigned i = 0; i != length; ++i) {
        result |= (bits >> i & 1U) << (length - 1 - i);
    }
    return static_cast<std::uint16_t>(result);
}

/// Returns the codes as deflate numbers them (RFC 1951, 3.2.2). Their bits are reversed, as Huffman codes are packed
/// from their most significant bit on, while all other fields are packed from the least significant one (3.1.1).
std::array<Code, kSymbols> codesOf(const Lengths& lengths) noexcept {
    std::array<Code, kSymbols> codes{};
    unsigned next = 0;
    for (unsigned length = 1; length <= kLongestCode; ++length, next <<= 1U) {
        for (std::size_t symbol = 0; symbol != kSymbols; ++symbol) {
            if (lengths[symbol] == length) {
                codes[symbol] = {reversed(next++, length), static_cast<std::uint16_t>(length)};
            }
        }
    }
    return codes;
}

class BitWriter {
public:
    explicit BitWriter(char* to) noexcept : to_(to) {}

    void add(std::uint64_t bits, unsigned count) noexcept {
        waiting_ |= bits << count_;
        count_ += count;
    }
    void add(Code code) noexcept { add(code.bits, code.length); }

    /// Writes all whole bytes. Fewer than 8 bits stay.
    void flush() noexcept {
        const std::uint64_t little = htole64(waiting_);
        std::memcpy(to_, &little, sizeof little);
        to_ += count_ / 8;
        waiting_ >>= count_ & ~7U;
        count_ &= 7U;
    }

    void finish() noexcept {
        count_ = (count_ + 7) & ~7U;
        flush();
    }

    unsigned waiting() const noexcept { return count_; }
    const char* position() const noexcept { return to_; }

private:
    char* to_;
    std::uint64_t waiting_ = 0;
    unsigned count_ = 0;
};

constexpr unsigned kCountOfLengthCodes = 19;

/// The bits of a block's header (RFC 1951, 3.2.7): the kind of the block, three counts, the lengths of the codes for
/// lengths, and four bits for each length of a literal and of two codes for distances.
constexpr std::uint64_t kHeaderBits = 3 + 5 + 5 + 4 + 3 * kCountOfLengthCodes + 4 * (kSymbols + 2);

/// Writes the lengths of the codes. Each length from 0 to 15 has a code of four bits, and repetitions of lengths have
/// none: shorter headers would gain next to nothing. Two codes for distances are declared although nothing uses them,
/// because some programs refuse a block without any.
void writeHeader(BitWriter& out, const Lengths& lengths, bool isLast) noexcept {
    constexpr unsigned kDynamicBlock = 2;
    constexpr unsigned kRepetitions = 3;  // come first among the codes for lengths
    out.add((isLast ? 1U : 0U) | kDynamicBlock << 1U, 3);
    out.add(kSymbols - 257, 5);
    out.add(2 - 1, 5);
    out.add(kCountOfLengthCodes - 4, 4);
    out.flush();
    for (unsigned i = 0; i != kCountOfLengthCodes; ++i) {
        out.add(i < kRepetitions ? 0 : 4, 3);
        out.flush();
    }
    for (const std::uint8_t length : lengths) {
        out.add(reversed(length, 4), 4);
        out.flush();
    }
    out.add(reversed(1, 4), 4);
    out.add(reversed(1, 4), 4);
    out.flush();
}

void writeBlock(BitWriter& out, std::string_view block, const Lengths& lengths, bool isLast) noexcept {
    writeHeader(out, lengths, isLast);
    const std::array<Code, kSymbols> codes = codesOf(lengths);
    std::size_t at = 0;
    for (; block.size() - at >= kCodesAtOnce; at += kCodesAtOnce) {
        for (std::size_t i = 0; i != kCodesAtOnce; ++i) {
            out.add(codes[static_cast<unsigned char>(block[at + i])]);
        }
        out.flush();
    }
    for (; at != block.size(); ++at) {
        out.add(codes[static_cast<unsigned char>(block[at])]);
        out.flush();
    }
    out.add(codes[kEndOfBlock]);
    out.flush();
}

}  // namespace

std::size_t deflateLiterals(std::string_view content, char* to, std::size_t capacity) noexcept {
    BitWriter out(to);
    do {
        const std::string_view block = content.substr(0, kBlockSize);
        content.remove_prefix(block.size());
        const Counts counts = countsOf(block);
        const Lengths lengths = lengthsOf(counts);
        const std::uint64_t bits = out.waiting() + kHeaderBits + bitsOf(counts, lengths);
        if (static_cast<std::size_t>(out.position() - to) + (bits + 7) / 8 > capacity) {
            return 0;  // before writing, so that nothing is ever written behind the capacity
        }
        writeBlock(out, block, lengths, content.empty());
    } while (!content.empty());
    out.finish();
    return static_cast<std::size_t>(out.position() - to);
}

std::size_t literalCodesSize(std::string_view content) noexcept {
    const Counts counts = countsOf(content);
    return static_cast<std::size_t>((bitsOf(counts, lengthsOf(counts)) + 7) / 8);
}

bool areBytesEvenlySpread(std::string_view bytes) noexcept {
    const Counts counts = countsOf(bytes);
    const std::uint64_t squares = std::inner_product(counts.begin(), counts.end(), counts.begin(), std::uint64_t{0});
    return squares * 48 <= std::uint64_t{bytes.size()} * bytes.size();
}

}  // namespace opc::zippackage
