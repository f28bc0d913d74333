#include "opc/model/NameTree.hpp"

#include <algorithm>

namespace opc::model::detail {

bool NameTree::insert(const std::string& name) {
    const std::vector<Node> path = pathTo(name);
    const bool passesName = std::any_of(path.begin(), path.end(), [&](Node node) { return nodes_[node].isName; });
    if (passesName || nodes_[path.back()].namesBelow != 0) {
        return false;
    }
    for (const Node node : path) {
        ++nodes_[node].namesBelow;
    }
    nodes_[path.back()] = {true, 0};
    return true;
}

void NameTree::erase(const std::string& name) {
    const std::vector<Node> path = pathTo(name);
    nodes_[path.back()] = {false, 1};
    for (const Node node : path) {
        --nodes_[node].namesBelow;
    }
}

std::vector<NameTree::Node> NameTree::pathTo(const std::string& name) {
    std::vector<Node> path;
    Node parent = 0;
    for (std::size_t at = 0; at != name.size();) {
        const std::size_t end = std::min(name.find('/', at + 1), name.size());
        const auto [edge, isNew] =
            edges_.emplace(Edge{parent, name.substr(at + 1, end - at - 1)}, static_cast<Node>(nodes_.size()));
        if (isNew) {
            nodes_.emplace_back();
        }
        parent = edge->second;
        path.push_back(parent);
        at = end;
    }
    return path;
}

}  // namespace opc::model::detail
