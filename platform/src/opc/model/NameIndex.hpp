#pragma once

#include "opc/model/Entries.hpp"

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace opc::model::detail {

struct PartState;

/// All names of a package, folded, with what they stand for. Parts come before what is no part, and the slash sorts
/// lowest, so that the names that derive from a name follow it directly. Whether a name is taken (M1.12), and whether
/// it derives from a part's name or a part's name from it (M1.11), can then be seen from the neighbours of its place.
class NameIndex {
public:
    /// A name and what it stands for: a part, or the entries of what a package does not list.
    class Meaning {
    public:
        explicit Meaning(std::shared_ptr<PartState> meantPart);

        /// @param isPartName  a relationships part's.
        Meaning(bool isPartName, std::string name, Entries meantEntries)
            : isPart(isPartName), entries(meantEntries), own_(std::move(name)), folded(own_) {}

        Meaning(const Meaning&) = delete;
        Meaning& operator=(const Meaning&) = delete;

        const bool isPart;
        const std::shared_ptr<PartState> part;
        const Entries entries;

    private:
        const std::string own_;

    public:
        const std::string_view folded;
    };

private:
    struct Key {
        // NOLINTNEXTLINE(google-explicit-constructor): the set compares meanings with keys
        Key(const Meaning& meaning) : isPart(meaning.isPart), folded(meaning.folded) {}
        Key(bool part, std::string_view name) : isPart(part), folded(name) {}

        bool isPart;
        std::string_view folded;
    };
    struct Before {
        using is_transparent = void;
        bool operator()(const Key& a, const Key& b) const noexcept;
    };
    using Set = std::set<Meaning, Before>;

public:
    /// A name on its way into the index.
    using Node = Set::node_type;

    /// Where a name of a part is, or would be.
    using Place = Set::const_iterator;

    /// Makes the node of an insertion, which is all of it that may fail. The caller inserts it when everything else has
    /// succeeded.
    template <class... Arguments>
    static Node prepare(Arguments&&... arguments) {
        Set single;
        single.emplace(std::forward<Arguments>(arguments)...);
        return single.extract(single.begin());
    }

    /// Adds a name that is not there yet.
    void insert(Node node) noexcept { set_.insert(std::move(node)); }

    /// As above, for a part. @param place  of its name.
    void insert(Place place, Node node) noexcept { set_.insert(place, std::move(node)); }

    void erase(std::string_view folded) noexcept;

    Place placeOf(std::string_view folded) const noexcept { return set_.lower_bound(Key(true, folded)); }

    /// Null when nothing has that name.
    const Meaning* find(std::string_view folded) const noexcept { return find(placeOf(folded), folded); }
    const Meaning* find(Place place, std::string_view folded) const noexcept;

    /// Whether a name that is not there yet and a part's derive one from the other.
    bool derives(Place place, std::string_view folded) const noexcept;

private:
    Set set_;
};

}  // namespace opc::model::detail
