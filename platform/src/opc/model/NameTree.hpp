#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace opc::model::detail {

/// Part names as a tree of their segments, to find in time linear in a name's length whether it derives from
/// another one or another one from it (M1.11). Names are folded.
class NameTree {
public:
    /// Adds a name that is not there yet. @returns false, with nothing changed but memory, when it or
    ///         another one would derive from the other.
    bool insert(const std::string& name);

    void erase(const std::string& name);

private:
    using Node = std::uint32_t;
    struct State {
        bool isName = false;
        std::uint32_t namesBelow = 0;
    };
    struct Edge {
        Node parent;
        std::string segment;

        bool operator==(const Edge& other) const { return parent == other.parent && segment == other.segment; }
    };
    struct EdgeHash {
        std::size_t operator()(const Edge& edge) const noexcept {
            return std::hash<std::string>()(edge.segment) ^ (std::size_t{edge.parent} * 0x9E3779B97F4A7C15U);
        }
    };

    /// The nodes from the first segment to the last; new ones are made on the way.
    std::vector<Node> pathTo(const std::string& name);

    std::unordered_map<Edge, Node, EdgeHash> edges_;
    std::vector<State> nodes_{1};
};

}  // namespace opc::model::detail
