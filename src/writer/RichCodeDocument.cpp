#include "writer/RichCodeDocument.hpp"

#include "format/Vocabulary.hpp"
#include "opc/model/XercesHelper.hpp"

namespace flowbook::detail {

using opc::model::XercesHelper;
using opc::model::XercesString;
using xercesc::DOMElement;

namespace {

XercesString qualified(const std::u16string& localName) {
    return format::makeQualifiedName(format::kWordPrefix, localName);
}

template <class Parent>
DOMElement* append(Parent* parent, const std::u16string& localName) {
    return XercesHelper::appendElementNS(parent, format::kWordNamespace, qualified(localName));
}

}  // namespace

DocumentPtr createRichCodeDocument(const std::u16string& text) {
    DocumentPtr document(XercesHelper::createDocument());
    DOMElement* root = append(document.get(), format::kDocumentElement);
    DOMElement* paragraph = append(append(root, format::kBodyElement), format::kParagraphElement);
    DOMElement* properties = append(paragraph, format::kParagraphPropertiesElement);
    XercesHelper::setElementAttributeNS(append(properties, format::kParagraphStyleElement), format::kWordNamespace,
                                        qualified(format::kValueAttribute), format::kCodeStyle);
    DOMElement* content = append(append(paragraph, format::kRunElement), format::kTextElement);
    if (!text.empty()) {
        content->appendChild(document->createCDATASection(text.c_str()));
    }
    return document;
}

}  // namespace flowbook::detail
