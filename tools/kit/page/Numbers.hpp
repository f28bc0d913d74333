#pragma once

#include <cstdint>
#include <string>

namespace flowbook::kit {

/// A count for people, "20,000".
std::string grouped(std::uint64_t count);

/// "1 line", "20,000 lines".
std::string counted(std::uint64_t count, const std::string& thing);

/// A time in ISO 8601, UTC, for people: "2024-05-01 09:30 UTC".
std::string readableTime(std::string iso);

}  // namespace flowbook::kit
