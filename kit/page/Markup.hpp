#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// HTML that is being written. Names of elements and attributes are literals of this program; all else is text, and
/// nothing is text that is not escaped. A character that cannot be seen (see isHiddenAt()) is marked in text, so that
/// it can still be copied, and appears as \uXXXX in attributes; malformed UTF-8 appears as U+FFFD.
class Markup {
public:
    /// A name that stands in the source.
    class Name {
    public:
        template <std::size_t Size>
        // NOLINTNEXTLINE(google-explicit-constructor): so that names are written as literals
        constexpr Name(const char (&literal)[Size]) : text_(literal, Size - 1) {}

        constexpr std::string_view text() const { return text_; }

    private:
        std::string_view text_;
    };

    struct Attribute {
        Name name;
        std::string_view value;
    };
    using Attributes = std::initializer_list<Attribute>;

    Markup& open(Name element, Attributes attributes = {});
    /// Ends the innermost element that is open.
    Markup& close();
    /// An element that has no end.
    Markup& single(Name element, Attributes attributes = {});
    Markup& text(std::string_view utf8);
    /// Text where no element may stand.
    Markup& unmarked(std::string_view utf8);
    /// Text whose line feeds become line breaks.
    Markup& lines(std::string_view utf8);

    /// Markup that was written apart.
    Markup& append(const Markup& other) {
        text_ += other.text_;
        return *this;
    }

    /// An element that holds text and no more.
    Markup& element(Name name, std::string_view utf8) { return element(name, {}, utf8); }
    Markup& element(Name name, Attributes attributes, std::string_view utf8) {
        return open(name, attributes).text(utf8).close();
    }

    /// What was written. Every element must have been closed.
    const std::string& finished() const noexcept { return text_; }

private:
    std::string text_;
    std::vector<std::string_view> open_;
};

}  // namespace flowbook::kit
