#pragma once

#include "opc/model/Container.hpp"

#include <map>
#include <string>
#include <string_view>

namespace opc::model::detail {

struct PartState;

/// All the names of a package, folded, with what they stand for. Parts come before what is no part, and the slash sorts
/// lowest, so that the names that derive from one follow it directly: whether a name is taken (M1.12) or derives from a
/// part's or a part's from it (M1.11) is told by the neighbours of its place.
class NameIndex {
public:
    struct Key {
        bool isPart;  ///< relationships parts included
        std::string folded;
    };

    /// What a name stands for: a part, or the entries of what a package does not list.
    struct Meaning {
        PartState* part = nullptr;
        Entries entries;
    };

private:
    struct KeyView {
        KeyView(const Key& key) : isPart(key.isPart), folded(key.folded) {}
        KeyView(bool part, std::string_view name) : isPart(part), folded(name) {}

        bool isPart;
        std::string_view folded;
    };
    struct Before {
        using is_transparent = void;
        bool operator()(const KeyView& a, const KeyView& b) const noexcept;
    };
    using Map = std::map<Key, Meaning, Before>;

public:
    /// A name on its way into the index.
    using Node = Map::node_type;

    /// Does all of an insertion that may fail.
    static Node prepare(Key key, Meaning meaning);

    /// Adds a name that is not there yet.
    void insert(Node node) noexcept { map_.insert(std::move(node)); }

    void erase(std::string_view folded) noexcept;

    /// Null when nothing has that name.
    const Meaning* find(std::string_view folded) const noexcept;

    /// Whether a name that is not there yet and a part's derive one from the other.
    bool derives(std::string_view folded) const noexcept;

private:
    Map::const_iterator at(std::string_view folded) const noexcept;

    Map map_;
};

}  // namespace opc::model::detail
