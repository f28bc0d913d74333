#include "opc/model/NameIndex.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace opc::model::detail {
namespace {

unsigned rank(char c) noexcept { return c == '/' ? 0 : static_cast<unsigned char>(c) + 1U; }

bool derivesFrom(std::string_view name, std::string_view base) noexcept {
    return name.size() > base.size() && name[base.size()] == '/' && name.compare(0, base.size(), base) == 0;
}

}  // namespace

bool NameIndex::Before::operator()(const KeyView& a, const KeyView& b) const noexcept {
    if (a.isPart != b.isPart) {
        return a.isPart;
    }
    return std::lexicographical_compare(a.folded.begin(), a.folded.end(), b.folded.begin(), b.folded.end(),
                                        [](char x, char y) { return rank(x) < rank(y); });
}

NameIndex::Node NameIndex::prepare(Key key, Meaning meaning) {
    Map single;
    single.emplace(std::move(key), std::move(meaning));
    return single.extract(single.begin());
}

void NameIndex::erase(std::string_view folded) noexcept {
    const auto found = at(folded);
    if (found != map_.end()) {
        map_.erase(found);
    }
}

const NameIndex::Meaning* NameIndex::find(std::string_view folded) const noexcept {
    const auto found = at(folded);
    return found == map_.end() ? nullptr : &found->second;
}

/// No part's name derives from another's, so a part that this one derives from has nothing between itself and this
/// name.
bool NameIndex::derives(std::string_view folded) const noexcept {
    const auto next = map_.lower_bound(KeyView(true, folded));
    if (next != map_.end() && next->first.isPart && derivesFrom(next->first.folded, folded)) {
        return true;
    }
    return next != map_.begin() && derivesFrom(folded, std::prev(next)->first.folded);
}

NameIndex::Map::const_iterator NameIndex::at(std::string_view folded) const noexcept {
    const auto found = map_.find(KeyView(true, folded));
    return found == map_.end() ? map_.find(KeyView(false, folded)) : found;
}

}  // namespace opc::model::detail
