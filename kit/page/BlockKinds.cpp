#include "kit/page/BlockKinds.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

class HeadingCollector {
public:
    explicit HeadingCollector(const Styles& styles) : styles_(&styles) {}

    void collect(const XmlNode& node, bool isBody) {
        for (const XmlNode& child : node.children) {
            collectOne(child, isBody);
        }
    }

    std::vector<int> take() { return std::move(found_); }

private:
    void collectOne(const XmlNode& node, bool isBody) {
        if (node.local == "AlternateContent") {
            forEachShown(node, [&](const XmlNode& each) { collectOne(each, false); });
        } else if (node.local == "p") {
            const int heading = isBody && codeIn(node) != nullptr ? 0 : styles_->headingOf(node);
            if (heading != 0 && hasInlineText(piecesOf(node))) {
                found_.push_back(heading);
            }
            collect(node, false);
        } else if (!isSettings(node)) {
            collect(node, false);
        }
    }

    const Styles* styles_;
    std::vector<int> found_;
};

}  // namespace

bool isBlock(const XmlNode& node) { return node.local == "p" || node.local == "tbl" || node.local == "txbxContent"; }

const XmlNode* codeIn(const XmlNode& paragraph) {
    const XmlNode* const properties = paragraph.child(kWordNamespace, "pPr");
    const XmlNode* const style = properties == nullptr ? nullptr : properties->child(kWordNamespace, "pStyle");
    const bool isCode = style != nullptr && style->attribute(kWordNamespace, "val") == "code";
    const XmlNode* const run = isCode ? paragraph.child(kWordNamespace, "r") : nullptr;
    return run == nullptr || paragraph.ns != kWordNamespace ? nullptr : run->child(kWordNamespace, "t");
}

bool holdsBlocks(const XmlNode& node) {
    return std::any_of(node.children.begin(), node.children.end(),
                       [](const XmlNode& child) { return isBlock(child) || holdsBlocks(child); });
}

bool hasInlineText(const std::vector<Piece>& pieces) {
    return std::any_of(pieces.begin(), pieces.end(),
                       [](const Piece& piece) { return isInline(piece) && isShown(piece); });
}

bool isCaption(const XmlNode& node, const Definitions& definitions) {
    if (node.local != "p" || !definitions.styles().isCalled(node, "caption") || definitions.numbering().itemOf(node)) {
        return false;
    }
    const std::vector<Piece> pieces = piecesOf(node);
    return hasInlineText(pieces) && std::all_of(pieces.begin(), pieces.end(), isInline);
}

const XmlNode* bodyOf(const XmlNode* root) { return root == nullptr ? nullptr : root->child(kWordNamespace, "body"); }

std::vector<int> headingStylesIn(const XmlNode& root, const Styles& styles) {
    HeadingCollector collector(styles);
    const XmlNode* const body = bodyOf(&root);
    for (const XmlNode& child : root.children) {
        collector.collect(child, &child == body);
    }
    return collector.take();
}

bool hasHeadings(const XmlNode& node, const Styles& styles) {
    HeadingCollector collector(styles);
    collector.collect(node, false);
    return !collector.take().empty();
}

}  // namespace flowbook::kit
