#include "io/FlowbookName.hpp"

#include <strings.h>

namespace flowbook::tool {

namespace {

bool endsInAnyCase(std::string_view text, std::string_view end) noexcept {
    return text.size() >= end.size() &&
           strncasecmp(text.data() + text.size() - end.size(), end.data(), end.size()) == 0;
}

}  // namespace

bool isFlowbookName(std::string_view path) noexcept {
    return endsInAnyCase(path, ".tqx") || endsInAnyCase(path, ".tqapp");
}

}  // namespace flowbook::tool
