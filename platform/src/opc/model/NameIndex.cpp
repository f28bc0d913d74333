#include "opc/model/NameIndex.hpp"

#include "opc/model/PartState.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace opc::model::detail {
namespace {

unsigned rank(char c) noexcept { return c == '/' ? 0 : static_cast<unsigned char>(c) + 1U; }

/// How many characters two names have in common at their front. Those of one package have many.
std::size_t commonLength(std::string_view a, std::string_view b) noexcept {
    const std::size_t shorter = std::min(a.size(), b.size());
    std::size_t same = 0;
    for (std::uint64_t x = 0, y = 0; shorter - same >= sizeof x; same += sizeof x) {
        std::memcpy(&x, a.data() + same, sizeof x);
        std::memcpy(&y, b.data() + same, sizeof y);
        if (x != y) {
            break;
        }
    }
    while (same != shorter && a[same] == b[same]) {
        ++same;
    }
    return same;
}

bool derivesFrom(std::string_view name, std::string_view base) noexcept {
    return name.size() > base.size() && name[base.size()] == '/' && name.compare(0, base.size(), base) == 0;
}

}  // namespace

NameIndex::Meaning::Meaning(std::shared_ptr<PartState> meantPart)
    : isPart(true), part(std::move(meantPart)), folded(part->name.folded()) {}

bool NameIndex::Before::operator()(const Key& a, const Key& b) const noexcept {
    if (a.isPart != b.isPart) {
        return a.isPart;
    }
    const std::size_t same = commonLength(a.folded, b.folded);
    if (same == a.folded.size() || same == b.folded.size()) {
        return a.folded.size() < b.folded.size();
    }
    return rank(a.folded[same]) < rank(b.folded[same]);
}

void NameIndex::erase(std::string_view folded) noexcept {
    const Meaning* const found = find(folded);
    if (found != nullptr) {
        set_.erase(set_.find(*found));
    }
}

const NameIndex::Meaning* NameIndex::find(Place place, std::string_view folded) const noexcept {
    if (place == set_.end() || !place->isPart || place->folded != folded) {
        place = set_.find(Key(false, folded));
    }
    return place == set_.end() ? nullptr : &*place;
}

/// No part's name derives from another's, so a part that this one derives from has nothing between itself and this
/// name.
bool NameIndex::derives(Place place, std::string_view folded) const noexcept {
    if (place != set_.end() && place->isPart && derivesFrom(place->folded, folded)) {
        return true;
    }
    return place != set_.begin() && derivesFrom(folded, std::prev(place)->folded);
}

}  // namespace opc::model::detail
