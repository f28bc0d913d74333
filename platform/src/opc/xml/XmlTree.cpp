#include "opc/xml/XmlTree.hpp"

#include "opc/names/MessageText.hpp"

#include <algorithm>

namespace opc::pxservices::detail {
namespace {

using model::detail::XmlElement;
using model::detail::XmlFault;
using model::detail::XmlWriter;

/// Trees are written and destroyed by recursion, and take far more memory than their text. Properties that anybody
/// has a use for stay far below all of these.
constexpr std::size_t kMaxDepth = 100;
constexpr std::size_t kMaxElements = 10000;
constexpr std::size_t kMaxBindings = 64;

void refuseMore(std::size_t count, std::size_t most, const char* what) {
    if (count >= most) {
        throw XmlFault{"there are more than " + std::to_string(most) + " " + what};
    }
}

std::string qualified(const std::string& prefix, const std::string& local) {
    return prefix.empty() ? local : prefix + ":" + local;
}

XmlNode nodeOf(const XmlElement& element) {
    XmlNode node;
    node.ns = element.name.ns;
    node.local = element.name.local;
    node.prefix = element.name.prefix;
    node.line = element.line;
    for (const auto& [name, value] : element.attributes) {
        node.attributes.push_back(
            {std::string(name.prefix), std::string(name.ns), std::string(name.local), std::string(value)});
    }
    return node;
}

}  // namespace

const XmlNode::Attribute* XmlNode::attribute(std::string_view attributeNs, std::string_view attributeLocal) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(), [&](const Attribute& each) {
        return each.local == attributeLocal && each.ns == attributeNs;
    });
    return found == attributes.end() ? nullptr : &*found;
}

void writeNode(const XmlNode& node, XmlWriter& xml) {
    if (node.isText()) {
        xml.text(node.text);
        return;
    }
    xml.start(qualified(node.prefix, node.local));
    for (const auto& [prefix, uri] : node.bindings) {
        xml.attribute(prefix.empty() ? "xmlns" : "xmlns:" + prefix, uri);
    }
    for (const XmlNode::Attribute& each : node.attributes) {
        xml.attribute(qualified(each.prefix, each.local), each.value);
    }
    for (const XmlNode& child : node.content) {
        writeNode(child, xml);
    }
    xml.end();
}

XmlTreeHandler::XmlTreeHandler(std::string_view rootNs, std::string_view rootName, const XmlBindings& ownBindings)
    : rootNs_(rootNs), rootName_(rootName), ownBindings_(ownBindings) {}

void XmlTreeHandler::startElement(const XmlElement& element) {
    if (!inRoot_) {
        if (!element.name.is(rootNs_, rootName_)) {
            throw XmlFault{"unexpected element " + model::detail::shown(element.name.local)};
        }
        inRoot_ = true;
    } else {
        refuseMore(open_.size(), kMaxDepth, "elements in each other");
        refuseMore(elementCount_++, kMaxElements, "elements");
        auto& siblings = open_.empty() ? elements_ : open_.back()->content;
        siblings.push_back(nodeOf(element));
        siblings.back().bindings =
            open_.empty()
                ? bindingsInForce()
                : XmlBindings(inForce_.begin() + static_cast<std::ptrdiff_t>(declaredBefore_), inForce_.end());
        open_.push_back(&siblings.back());
    }
    declaredBefore_ = inForce_.size();
}

void XmlTreeHandler::endElement() {
    if (!open_.empty()) {
        open_.pop_back();
    }
}

void XmlTreeHandler::characters(std::string_view text) {
    if (open_.empty()) {
        if (text.find_first_not_of(" \t\r\n") != std::string_view::npos) {
            throw XmlFault{"unexpected text between the elements"};
        }
        return;
    }
    auto& content = open_.back()->content;
    if (content.empty() || !content.back().isText()) {
        content.emplace_back();
    }
    content.back().text += text;
}

void XmlTreeHandler::startNamespace(std::string_view prefix, std::string_view uri) {
    refuseMore(inForce_.size(), kMaxBindings, "namespace declarations in force");
    inForce_.emplace_back(prefix, uri);
}

/// Comes after the end of the element that the declaration was on.
void XmlTreeHandler::endNamespace() {
    inForce_.pop_back();
    declaredBefore_ = inForce_.size();
}

/// The innermost declaration of each prefix.
XmlBindings XmlTreeHandler::bindingsInForce() const {
    XmlBindings bindings;
    for (auto binding = inForce_.rbegin(); binding != inForce_.rend(); ++binding) {
        const bool hidden = std::any_of(bindings.begin(), bindings.end(),
                                        [&](const XmlBinding& inner) { return inner.first == binding->first; });
        if (!hidden) {
            bindings.push_back(*binding);
        }
    }
    const auto needsNoDeclaration = [&](const XmlBinding& binding) {
        return binding == XmlBinding() ||
               std::find(ownBindings_.begin(), ownBindings_.end(), binding) != ownBindings_.end();
    };
    bindings.erase(std::remove_if(bindings.begin(), bindings.end(), needsNoDeclaration), bindings.end());
    std::reverse(bindings.begin(), bindings.end());
    return bindings;
}

}  // namespace opc::pxservices::detail
