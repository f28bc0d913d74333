#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace flowbook::kit {

/// A count for people, "20,000".
std::string grouped(std::uint64_t count);

/// "1 line", "20,000 lines".
std::string counted(std::uint64_t count, const std::string& thing);

/// Whether a name is one of some.
bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names);

/// Whether a text holds no more than blanks, tabs and ends of lines.
bool isBlankText(std::string_view text);

/// The start of a text, up to `most` bytes and the end of a character.
std::string_view startOf(std::string_view utf8, std::size_t most);

/// A time in ISO 8601, UTC, for people: "2024-05-01 09:30 UTC".
std::string readableTime(std::string iso);

}  // namespace flowbook::kit
