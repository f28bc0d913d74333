#pragma once

#include <cstddef>
#include <string>

namespace plainxml {

/// Takes over characters as UTF-16, through a small buffer, so that a long text is written once and never cleared
/// first.
class Widening {
public:
    /// @param text  null to take nothing over.
    explicit Widening(std::u16string* text) noexcept : text_(text) {}

    /// Takes the characters at `at` up to the first that is not ASCII, is no XML character, or may mean something else
    /// than itself (a carriage return, a "]" that may begin a "]]>", and outside of CDATA sections "<" and "&"), which
    /// `at` is moved to.
    template <bool isCdata>
    void takePlain(const char*& at, const char* end);

    /// @param point  an XML character.
    void put(char32_t point);

    /// Appends what is still in the buffer. Must be called at the end.
    void flush();

private:
    static constexpr std::size_t kSize = 2048;

    void makeRoomFor(std::size_t count);

    std::u16string* text_;
    std::size_t used_ = 0;
    char16_t units_[kSize];  ///< left as it is until it is written to
};

}  // namespace plainxml
