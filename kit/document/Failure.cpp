#include "kit/document/Failure.hpp"

#include <string_view>

namespace flowbook::kit {

std::string wordsOf(const std::exception& failure) {
    constexpr std::string_view kPrefixEnd = " file : ";
    std::string message = failure.what();
    const std::size_t end = message.rfind("Internal Exception", 0) == 0 ? message.find(kPrefixEnd) : std::string::npos;
    return end == std::string::npos ? message : message.substr(end + kPrefixEnd.size());
}

}  // namespace flowbook::kit
