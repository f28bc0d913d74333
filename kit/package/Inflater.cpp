// Inflates what may be damaged. libdeflate gives nothing at all of data with a fault, so what comes before one is
// inflated here, bit by bit (RFC 1951). The memory for both is bounded for the whole file, as each of thousands of
// headers may claim as much as it likes.
#include "kit/package/Inflater.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <new>

namespace flowbook::kit {

namespace {

// A first guess for contents whose recorded size may be wrong. Most parts are smaller.
constexpr std::size_t kUsualContent = 65536;
constexpr std::size_t kMaxRatio = 1032;  ///< which no deflated data exceed

/// The data end, or what comes next cannot be.
class Fault : public std::exception {};

/// The codes of one block, canonical: as many codes of each length as there are, and the symbols in their order.
class Codes {
public:
    Codes(const unsigned char* lengths, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            ++counts_[lengths[i]];
        }
        counts_[0] = 0;
        std::array<std::size_t, 17> offsets{};
        for (std::size_t length = 1; length < counts_.size(); ++length) {
            offsets[length + 1] = offsets[length] + counts_[length];
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (lengths[i] != 0) {
                symbols_[offsets[lengths[i]]++] = static_cast<unsigned short>(i);
            }
        }
    }

    /// @param bit  hands over the next bit.
    template <class Bit>
    unsigned next(Bit bit) const {
        unsigned code = 0;
        unsigned first = 0;
        unsigned index = 0;
        for (std::size_t length = 1; length < counts_.size(); ++length) {
            // Codes of one length are consecutive numbers, so the first one and their count are all there is to know.
            code |= bit();
            if (code < first + counts_[length]) {
                return symbols_[index + code - first];
            }
            index += counts_[length];
            first = (first + counts_[length]) << 1;
            code <<= 1;
        }
        throw Fault();
    }

private:
    std::array<unsigned, 16> counts_{};
    std::array<unsigned short, 288> symbols_{};
};

/// Inflates byte by byte, so that all that came before a fault is had. It is used for damaged data only, where speed
/// does not matter.
class SlowInflater {
public:
    SlowInflater(std::string_view data, std::size_t most) : data_(data), most_(most) {}

    fl::Bytes run() {
        try {
            for (bool isLast = false; !isLast;) {
                isLast = bits(1) != 0;
                block(bits(2));
            }
        } catch (const Fault&) {
            // What is there is what was asked for.
        }
        return std::move(content_);
    }

private:
    unsigned bit() {
        if (at_ / 8 >= data_.size()) {
            throw Fault();
        }
        const unsigned value = static_cast<unsigned char>(data_[at_ / 8]) >> (at_ % 8) & 1U;
        ++at_;
        return value;
    }

    unsigned bits(unsigned count) {
        unsigned value = 0;
        for (unsigned i = 0; i < count; ++i) {
            value |= bit() << i;
        }
        return value;
    }

    unsigned symbol(const Codes& codes) {
        return codes.next([this] { return bit(); });
    }

    void put(unsigned char byte) {
        if (content_.size() >= most_) {
            throw Fault();
        }
        content_.push_back(byte);
    }

    void block(unsigned type) {
        if (type == 0) {
            stored();
        } else if (type == 1) {
            fixed();
        } else if (type == 2) {
            dynamic();
        } else {
            throw Fault();
        }
    }

    void stored() {
        at_ = (at_ + 7) / 8 * 8;
        const unsigned size = bits(16);
        // The size is followed by its complement, the only check that a stored block has.
        if (bits(16) != (~size & 0xFFFFU)) {
            throw Fault();
        }
        for (unsigned i = 0; i < size; ++i) {
            put(static_cast<unsigned char>(bits(8)));
        }
    }

    void fixed() {
        std::array<unsigned char, 288 + 30> lengths{};
        for (std::size_t i = 0; i < 288; ++i) {
            // The lengths of the codes in a block with fixed codes (RFC 1951, 3.2.6).
            lengths[i] = i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8;
        }
        std::fill(lengths.begin() + 288, lengths.end(), static_cast<unsigned char>(5));
        symbols(Codes(lengths.data(), 288), Codes(lengths.data() + 288, 30));
    }

    void dynamic() {
        // The lengths of the lengths come in this order, so that those at the end, which are mostly zero, can be left
        // out.
        constexpr std::array<unsigned char, 19> kOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                          11, 4,  12, 3, 13, 2, 14, 1, 15};
        const std::size_t literals = bits(5) + 257;
        const std::size_t distances = bits(5) + 1;
        const std::size_t count = bits(4) + 4;
        std::array<unsigned char, 19> own{};
        for (std::size_t i = 0; i < count; ++i) {
            own[kOrder[i]] = static_cast<unsigned char>(bits(3));
        }
        // Five bits can say more codes than there are.
        if (literals > 286 || distances > 30) {
            throw Fault();
        }
        const auto lengths = readLengths(Codes(own.data(), own.size()), literals + distances);
        symbols(Codes(lengths.data(), literals), Codes(lengths.data() + literals, distances));
    }

    std::array<unsigned char, 320> readLengths(const Codes& codes, std::size_t count) {
        std::array<unsigned char, 320> lengths{};
        for (std::size_t i = 0; i < count;) {
            const unsigned code = symbol(codes);
            if (code < 16) {
                lengths[i++] = static_cast<unsigned char>(code);
                continue;
            }
            // 16 repeats the length before it, of which there is none yet.
            if (code == 16 && i == 0) {
                throw Fault();
            }
            const unsigned char repeated = code == 16 ? lengths[i - 1] : static_cast<unsigned char>(0);
            const std::size_t times = code == 16 ? 3 + bits(2) : code == 17 ? 3 + bits(3) : 11 + bits(7);
            if (i + times > count) {
                throw Fault();
            }
            std::fill_n(lengths.begin() + static_cast<std::ptrdiff_t>(i), times, repeated);
            i += times;
        }
        return lengths;
    }

    void symbols(const Codes& literals, const Codes& distances) {
        for (unsigned code = symbol(literals); code != 256; code = symbol(literals)) {
            if (code < 256) {
                put(static_cast<unsigned char>(code));
            } else {
                copy(lengthOf(code), distances);
            }
        }
    }

    unsigned lengthOf(unsigned code) {
        if (code > 285) {
            throw Fault();
        }
        // 285 stands for the longest copy and has no extra bits, though its number would give it five.
        if (code < 265 || code == 285) {
            return code == 285 ? 258 : code - 254;
        }
        const unsigned extra = (code - 261) / 4;
        return 3 + ((4 + (code - 261) % 4) << extra) + bits(extra);
    }

    void copy(unsigned length, const Codes& distances) {
        const unsigned code = symbol(distances);
        if (code > 29) {
            throw Fault();
        }
        const unsigned extra = code < 4 ? 0 : code / 2 - 1;
        const std::size_t distance = 1 + (code < 4 ? code : (2 + code % 2) << extra) + bits(extra);
        // The copy begins before the content does. Data with a fault say so often, and sound data never.
        if (distance > content_.size()) {
            throw Fault();
        }
        for (unsigned i = 0; i < length; ++i) {
            put(content_[content_.size() - distance]);
        }
    }

    std::string_view data_;
    std::size_t most_;
    std::size_t at_ = 0;  ///< in bits
    fl::Bytes content_;
};

}  // namespace

Inflater::Inflater() : decompressor_(libdeflate_alloc_decompressor()) {
    if (!decompressor_) {
        throw std::bad_alloc();
    }
}

bool Inflater::take(std::uint64_t bytes, std::uint64_t& budget) {
    if (bytes > budget) {
        return false;
    }
    budget -= bytes;
    return true;
}

void Inflater::reserve(std::size_t size) {
    if (size > capacity_) {
        buffer_.reset();
        capacity_ = 0;
        buffer_.reset(new unsigned char[size]);  // not zeroed, which would cost more than a small part takes
        capacity_ = size;
    }
}

std::optional<Inflater::Inflated> Inflater::whole(std::string_view data, std::uint64_t expected, bool isGuess) {
    const std::uint64_t most = std::min<std::uint64_t>(kMostInflated, kMaxRatio * (data.size() + 1));
    // The recorded size may be what is damaged, so it is a first guess and not a limit.
    std::uint64_t size = std::min(std::max<std::uint64_t>(expected, kUsualContent), most);
    while (take(size, budget_)) {
        reserve(size);
        std::size_t consumed = 0;
        std::size_t produced = 0;
        const libdeflate_result result = libdeflate_deflate_decompress_ex(decompressor_.get(), data.data(), data.size(),
                                                                          buffer_.get(), size, &consumed, &produced);
        if (result == LIBDEFLATE_SUCCESS) {
            // Only what was inflated counts against the whole file, not the room that it might have taken.
            budget_ += size - produced;
            return Inflated{fl::Bytes(buffer_.get(), buffer_.get() + produced), consumed};
        }
        if (result != LIBDEFLATE_INSUFFICIENT_SPACE || size == most || isGuess) {
            break;
        }
        // By four, so that all attempts that fail cost about a third of the one that succeeds.
        size = std::min(4 * size, most);
    }
    return std::nullopt;
}

fl::Bytes Inflater::prefix(std::string_view data, std::uint64_t most) {
    const std::uint64_t size = std::min<std::uint64_t>({most, budgetOfDamaged_, kMaxRatio * (data.size() + 1)});
    if (!take(size, budgetOfDamaged_)) {
        return {};
    }
    fl::Bytes content = SlowInflater(data, size).run();
    budgetOfDamaged_ += size - content.size();
    return content;
}

}  // namespace flowbook::kit
