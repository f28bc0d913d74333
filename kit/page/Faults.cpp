#include "kit/page/Faults.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

// A hostile file may have any number of them.
constexpr std::size_t kMostKept = 20;

}  // namespace

void writeNotice(Markup& out, std::string_view what, std::string_view why) {
    out.open("div", {{"class", "notice"}, {"lang", "en"}}).open("p").element("strong", what).close();
    out.element("p", {{"dir", "auto"}}, why).close();
}

void Faults::tell(Markup& out, const std::string& message, bool isOfLimit) {
    const std::string words = inWords_ ? inWords_(message) : message;
    writeNotice(out, isOfLimit ? "Beyond a limit" : "Damaged", words);
    const auto isTold = [&words](const PageFault& fault) { return fault.words == words; };
    if (all_.size() < kMostKept && std::none_of(all_.begin(), all_.end(), isTold)) {
        all_.push_back({words, isOfLimit});
    }
}

}  // namespace flowbook::kit
