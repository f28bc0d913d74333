#pragma once

#include "kit/page/Markup.hpp"

#include <cstddef>
#include <string_view>

namespace flowbook::kit {

/// Writes lines of code, numbered as those of the code alone, each with the anchor "L<number>". A browser lays out only
/// the lines that are looked at: they stand in blocks of equal height.
class CodeListing {
public:
    explicit CodeListing(Markup& out) : out_(&out) {}

    /// The code of a paragraph, which may have several lines.
    /// @param before, after  inline content that stands in the paragraph beside its code; may be empty.
    /// @param isLast         whether no more code comes: a line feed at its end then begins no line.
    void add(std::string_view code, const Markup& before, const Markup& after, bool isLast);

    /// Ends the listing, if there is one, before something else is written.
    void finish();

    /// Says what a page is too small for.
    void writeRest();

    /// How many lines of code there are, those included that are not shown.
    std::size_t lineCount() const noexcept { return lineCount_ + unshownCount_; }

private:
    void writeLine(std::string_view line, const Markup& before, const Markup& after);

    Markup* out_;
    Markup lines_;               ///< of the listing that is being gathered
    std::size_t gathered_ = 0;   ///< lines in it
    std::size_t lineCount_ = 0;  ///< lines written and gathered
    std::size_t unshownCount_ = 0;
};

}  // namespace flowbook::kit
