// Finding the code by a tree of the document. This decides what the code of any document is; the scan gives up wherever
// it cannot be sure to agree with it.
#include "format/Vocabulary.hpp"
#include "opc/model/XercesGuard.hpp"
#include "opc/model/XercesHelper.hpp"
#include "utils/Code.hpp"
#include "utils/XercesPtr.hpp"

#include <boost/algorithm/string/join.hpp>
#include <vector>
#include <xercesc/dom/DOM.hpp>

namespace flowbook::detail {

using opc::model::XercesHelper;
using xercesc::DOMElement;

namespace {

using Parser = XercesPtr<xercesc::DOMLSParser>;

Parser makeParser() {
    Parser parser(XercesHelper::createParser());
    parser->getDomConfig()->setParameter(u"namespaces", true);
    return parser;
}

DOMElement* child(const DOMElement* parent, const std::u16string& localName) {
    return parent == nullptr ? nullptr : XercesHelper::getElementNS(parent, format::kWordNamespace, localName);
}

/// A paragraph is code if its first style says so. The names are compared in the word namespace, under any prefix that
/// is bound to it.
bool isCode(const DOMElement* paragraph) {
    const DOMElement* properties = child(paragraph, format::kParagraphPropertiesElement);
    const DOMElement* style = child(properties, format::kParagraphStyleElement);
    std::u16string value;
    return style != nullptr &&
           XercesHelper::getElementAttributeNS(style, format::kWordNamespace, format::kValueAttribute, value) &&
           value == format::kCodeStyle;
}

/// Joins the texts of all paragraphs in the style of code by line feeds. In each paragraph the first run counts, and in
/// that the first text; a paragraph without them adds no line.
std::u16string plainCode(const xercesc::DOMDocument& document) {
    const DOMElement* body = child(document.getDocumentElement(), format::kBodyElement);
    if (body == nullptr) {
        return {};
    }
    std::vector<std::u16string> lines;
    for (const DOMElement* paragraph :
         XercesHelper::getElementsNS(body, format::kWordNamespace, format::kParagraphElement)) {
        const DOMElement* run = isCode(paragraph) ? child(paragraph, format::kRunElement) : nullptr;
        if (const DOMElement* text = child(run, format::kTextElement)) {
            lines.push_back(XercesHelper::getTextContent(text));
        }
    }
    if (lines.size() == 1) {
        return std::move(lines.front());
    }
    return boost::algorithm::join(lines, std::u16string(u"\n"));
}

}  // namespace

std::u16string codeByDom(const std::u16string& richCode) {
    const opc::model::XercesGuard guard;
    const Parser parser = makeParser();
    return plainCode(*XercesHelper::readDocumentFromString(parser.get(), richCode, false, u"", u""));
}

std::u16string codeByDom(opc::InputStream& richCode) {
    const opc::model::XercesGuard guard;
    const Parser parser = makeParser();
    return plainCode(*XercesHelper::readDocumentFromStream(parser.get(), richCode, false, u"", u""));
}

}  // namespace flowbook::detail
