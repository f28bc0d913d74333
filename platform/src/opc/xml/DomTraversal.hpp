#pragma once

#include <cstddef>
#include <xercesc/dom/DOMNode.hpp>

namespace opc::model {

/// Calls visit(node, depth) for all nodes below `root` in document order, the children of `root` having
/// depth 1. No recursion, as the depth is the document's to choose.
template <class Visit>
void forEachNodeBelow(const xercesc::DOMNode& root, Visit visit) {
    const xercesc::DOMNode* node = root.getFirstChild();
    std::size_t depth = 1;
    while (node != nullptr) {
        visit(*node, depth);
        if (node->getFirstChild() != nullptr) {
            node = node->getFirstChild();
            ++depth;
            continue;
        }
        while (node != &root && node->getNextSibling() == nullptr) {
            node = node->getParentNode();
            --depth;
        }
        node = node == &root ? nullptr : node->getNextSibling();
    }
}

}  // namespace opc::model
