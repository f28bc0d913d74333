// An ordered index of names. The order treats the slash as the lowest character, so that "/a/b" comes directly behind
// "/a" and before "/a.b": every name that derives from another follows it without anything else between.
#include "opc/model/NameIndex.hpp"

#include "opc/model/PartState.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace opc::model::detail {
namespace {

unsigned rank(char c) noexcept { return c == '/' ? 0 : static_cast<unsigned char>(c) + 1U; }

/// Returns how many characters two names have in common at their front. Names of one package often differ only at their
/// ends, so that they are compared eight characters at a time.
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

/// Whether `name` consists of `base`, a slash and more (ECMA-376-2, M1.11).
bool derivesFrom(std::string_view name, std::string_view base) noexcept {
    return name.size() > base.size() && name[base.size()] == '/' && name.compare(0, base.size(), base) == 0;
}

}  // namespace

NameIndex::Meaning::Meaning(std::shared_ptr<PartState> meantPart)
    : isPart(true), part(std::move(meantPart)), folded(part->name.folded()) {}

/// Parts come first. Where one name is the beginning of the other, the shorter comes first, even before the slash.
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

/// Looks at the two neighbours of a name's place. A part that derives from the name would follow directly. A part from
/// which the name derives would be the one before: between the two only names could lie that derive from that part as
/// well, and the index holds no two parts of which one derives from the other.
bool NameIndex::derives(Place place, std::string_view folded) const noexcept {
    if (place != set_.end() && place->isPart && derivesFrom(place->folded, folded)) {
        return true;
    }
    return place != set_.begin() && derivesFrom(folded, std::prev(place)->folded);
}

}  // namespace opc::model::detail
