// A document as a tree, for pages and Markdown, which need to look ahead. It is limited in nodes and in depth: a small
// file can hold a document that is neither.
#include "kit/document/XmlTree.hpp"

#include "opc/Exception.hpp"

#include <algorithm>
#include <utility>

namespace flowbook::kit {

namespace {

// What walks a tree, its destructor among them, takes some of the stack for each level. The library reads rich code
// that is as deep, so what can be printed can be shown.
constexpr std::size_t kMostDepth = 1024;

class TreeHandler : public XmlHandler {
public:
    TreeHandler(XmlTree& tree, const std::string& where, std::size_t most)
        : tree_(&tree), where_(&where), most_(most), open_(1) {}

    void startElement(const XmlName& name, const std::vector<XmlAttribute>& attributes, XmlSpan tag) override {
        count(1 + attributes.size());
        if (open_.size() > kMostDepth) {
            throw opc::Exception(opc::ErrorKind::LimitExceeded,
                                 *where_ + ": elements are nested deeper than " + std::to_string(kMostDepth));
        }
        XmlNode node;
        node.ns = kept(name.ns);
        node.local = kept(name.local);
        node.attributes.reserve(attributes.size());
        for (const XmlAttribute& each : attributes) {
            node.attributes.push_back({kept(each.name.ns), kept(each.name.local), std::string(each.value)});
        }
        open_.push_back(std::move(node));
        tree_->end = tag.end;
    }

    void endElement(const XmlName&, XmlSpan tag) override {
        closeLast();
        tree_->end = tag.end;
    }

    void characters(std::string_view text) override {
        std::vector<XmlNode>& siblings = open_.back().children;
        if (siblings.empty() || !siblings.back().isText()) {
            count(1);
            siblings.emplace_back();
        }
        siblings.back().text.append(text);
    }

    /// Closes what a fault has left open.
    void finish() {
        while (open_.size() > 1) {
            closeLast();
        }
        tree_->document = std::move(open_.front());
    }

private:
    std::string_view kept(std::string_view name) {
        const auto found = tree_->names.find(name);
        return found == tree_->names.end() ? *tree_->names.emplace(name).first : *found;
    }

    void closeLast() {
        XmlNode node = std::move(open_.back());
        open_.pop_back();
        open_.back().children.push_back(std::move(node));
    }

    void count(std::size_t more) {
        nodes_ += more;
        if (nodes_ > most_) {
            throw opc::Exception(opc::ErrorKind::LimitExceeded,
                                 *where_ + ": more than " + std::to_string(most_) + " elements, attributes and texts");
        }
    }

    XmlTree* tree_;
    const std::string* where_;
    std::size_t most_;
    std::vector<XmlNode> open_;  ///< the document and the elements whose end has not come
    std::size_t nodes_ = 0;
};

void appendText(const XmlNode& node, std::string& to) {
    to += node.text;
    for (const XmlNode& child : node.children) {
        appendText(child, to);
    }
}

template <class Matches>
const XmlNode* find(const std::vector<XmlNode>& nodes, Matches matches) {
    const auto found = std::find_if(nodes.begin(), nodes.end(), matches);
    return found == nodes.end() ? nullptr : &*found;
}

template <class Matches>
std::string_view valueIn(const std::vector<XmlNode::Attribute>& attributes, Matches matches) {
    const auto found = std::find_if(attributes.begin(), attributes.end(), matches);
    return found == attributes.end() ? std::string_view() : found->value;
}

}  // namespace

const XmlNode* XmlNode::child(std::string_view wantedLocal) const {
    return find(children, [&](const XmlNode& each) { return each.local == wantedLocal; });
}

const XmlNode* XmlNode::child(std::string_view wantedNs, std::string_view wantedLocal) const {
    return find(children, [&](const XmlNode& each) { return each.is(wantedNs, wantedLocal); });
}

std::string_view XmlNode::attribute(std::string_view wantedLocal) const {
    return valueIn(attributes, [&](const Attribute& each) { return each.local == wantedLocal; });
}

std::string_view XmlNode::attribute(std::string_view wantedNs, std::string_view wantedLocal) const {
    return valueIn(attributes, [&](const Attribute& each) { return each.local == wantedLocal && each.ns == wantedNs; });
}

std::string_view XmlNode::valueOf(std::string_view childLocal) const {
    const XmlNode* const found = child(childLocal);
    return found == nullptr ? std::string_view() : found->attribute("val");
}

std::string XmlNode::allText() const {
    std::string all;
    appendText(*this, all);
    return all;
}

XmlTree readXmlTree(const fl::Bytes& document, const std::string& where, XmlEncoding encoding, std::size_t most) {
    XmlTree tree;
    TreeHandler handler(tree, where, most);
    try {
        readXml(document, where, encoding, handler);
    } catch (const opc::Exception& failure) {
        tree.fault = failure.what();
        tree.isOverLimit = failure.kind() == opc::ErrorKind::LimitExceeded;
    }
    handler.finish();
    return tree;
}

}  // namespace flowbook::kit
