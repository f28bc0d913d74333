#include "kit/page/Faults.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

// A hostile file may have any number of them.
constexpr std::size_t kMostKept = 20;

// Definitions and notes of real documents have some thousands of elements.
constexpr std::size_t kMostNodes = 500000;

}  // namespace

void writeNotice(Markup& out, std::string_view what, std::string_view why) {
    out.open("div", {{"class", "notice"}, {"lang", "en"}}).open("p").element("strong", what).close();
    out.element("p", {{"dir", "auto"}}, why).close();
}

void Faults::show(Markup& out, const std::string& message, bool isOfLimit) {
    const std::string words = inWords_ ? inWords_(message) : message;
    writeNotice(out, isOfLimit ? "Beyond a limit" : "Damaged", words);
    const auto isKept = [&words](const PageFault& fault) { return fault.words == words; };
    if (all_.size() < kMostKept && std::none_of(all_.begin(), all_.end(), isKept)) {
        all_.push_back({words, isOfLimit});
    }
}

XmlTree readPartTree(const Document& document, const opc::model::Part& part, std::vector<PageFault>& faults) {
    try {
        XmlTree tree = readXmlTree(contentOf(part), document.where(part), XmlEncoding::AsDeclared, kMostNodes);
        if (!tree.fault.empty()) {
            faults.push_back({tree.fault, tree.isOverLimit});
        }
        return tree;
    } catch (const opc::Exception& failure) {
        faults.push_back({failure.what(), failure.kind() == opc::ErrorKind::LimitExceeded});
        return {};
    }
}

}  // namespace flowbook::kit
