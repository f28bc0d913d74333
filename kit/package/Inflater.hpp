#pragma once

#include "fl/Bytes.hpp"

#include <cstdint>
#include <libdeflate.h>
#include <memory>
#include <optional>
#include <string_view>

namespace flowbook::kit {

/// The largest content that is inflated, which is that of the largest part.
inline constexpr std::size_t kMostInflated = std::size_t{1} << 30;

/// The most that is inflated of all entries that are whole, and of all that are not, which takes ten times as long.
inline constexpr std::uint64_t kMostInflatedOfAll = std::uint64_t{8} << 30;
inline constexpr std::uint64_t kMostInflatedOfDamaged = std::uint64_t{1} << 30;

/// Inflates data (RFC 1951) of which it is not known where they end or whether they are whole.
class Inflater {
public:
    struct Inflated {
        fl::Bytes content;
        std::size_t consumed;  ///< how many bytes the data take
    };

    /// @throws std::bad_alloc.
    Inflater();

    /// The content of data that begin here; nothing when they are damaged or inflate to more than 1 GiB.
    /// @param expected  how large the content is, if that is known; a wrong value does no harm.
    /// @param isGuess   whether it is not known that data begin here: then content that is larger than expected is
    /// none,
    ///                  as what are no data may inflate without end.
    std::optional<Inflated> whole(std::string_view data, std::uint64_t expected, bool isGuess);

    /// What data that are damaged or cut off inflate to, up to the fault, but no more than `most` bytes. The bytes just
    /// before the fault may be wrong, unless the data are whole as far as they go.
    fl::Bytes prefix(std::string_view data, std::uint64_t most);

private:
    struct Deleter {
        void operator()(libdeflate_decompressor* each) const { libdeflate_free_decompressor(each); }
    };

    static bool take(std::uint64_t bytes, std::uint64_t& budget);
    void reserve(std::size_t size);

    std::unique_ptr<libdeflate_decompressor, Deleter> decompressor_;
    std::unique_ptr<unsigned char[]> buffer_;
    std::size_t capacity_ = 0;
    /// Bytes that may yet be inflated: headers can be forged so that each makes all that follows be inflated again.
    std::uint64_t budget_ = kMostInflatedOfAll;
    std::uint64_t budgetOfDamaged_ = kMostInflatedOfDamaged;
};

}  // namespace flowbook::kit
