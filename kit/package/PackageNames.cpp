#include "kit/package/PackageNames.hpp"

#include "kit/document/Characters.hpp"
#include "kit/document/EntryNames.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

int rankOf(char c) { return c == '/' ? -1 : static_cast<unsigned char>(c); }

bool isWithin(const std::string& outer, const std::string& inner) {
    return startsWith(inner, outer) && (inner.size() == outer.size() || inner[outer.size()] == '/');
}

}  // namespace

bool PackageNames::take(const std::string& name) { return isFree(name) && names_.insert(fold(name)).second; }

std::string PackageNames::takeSimilar(const std::string& wanted) {
    std::string name = wanted;
    for (std::size_t& number = numbers_.emplace(fold(wanted), 1).first->second; !take(name);) {
        name = wanted + "-" + std::to_string(++number);
    }
    return name;
}

bool PackageNames::isFree(const std::string& name) const {
    const std::string folded = fold(name);
    const auto after = names_.lower_bound(folded);
    return (after == names_.end() || !isWithin(folded, *after)) &&
           (after == names_.begin() || !isWithin(*std::prev(after), folded));
}

bool PackageNames::BySegments::operator()(const std::string& a, const std::string& b) const {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [](char x, char y) { return rankOf(x) < rankOf(y); });
}

}  // namespace flowbook::kit
