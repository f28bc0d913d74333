// Makes the rich code document. Writing it as text gives the bytes that the XML library would give, in a fraction of
// the time and without loading it; the tests compare the two.
#include "writer/RichCodeDocument.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "format/Vocabulary.hpp"
#include "format/XmlTemplates.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/model/XercesGuard.hpp"
#include "opc/model/XercesHelper.hpp"
#include "utils/XercesPtr.hpp"

#include <string_view>
#include <xercesc/dom/DOM.hpp>

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

XercesPtr<xercesc::DOMDocument> createRichCodeDocument(const std::u16string& text) {
    XercesPtr<xercesc::DOMDocument> document(XercesHelper::createDocument());
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

void append(Bytes& bytes, std::string_view text) { bytes.insert(bytes.end(), text.begin(), text.end()); }

/// Appends a text as CDATA sections. "]]>" would end a section, so each is divided between two.
void appendSections(Bytes& bytes, std::string_view text) {
    constexpr std::size_t kBeforeEnd = 2;
    append(bytes, "<![CDATA[");
    for (std::size_t end = text.find("]]>"); end != std::string_view::npos; end = text.find("]]>")) {
        append(bytes, text.substr(0, end + kBeforeEnd));
        append(bytes, "]]><![CDATA[");
        text.remove_prefix(end + kBeforeEnd);
    }
    append(bytes, text);
    append(bytes, "]]>");
}

/// Puts the text into the document without code, in the place of its empty text element.
Bytes documentOf(std::string_view text) {
    constexpr std::string_view kStart = "<w:t>", kContent = "<![CDATA[]]>", kEnd = "</w:t>";
    const std::string_view empty = format::kEmptyRichCodeXml;
    const std::size_t start = empty.find(kStart);
    Bytes bytes;
    bytes.reserve(empty.size() + text.size());
    append(bytes, empty.substr(0, start));
    if (text.empty()) {
        append(bytes, "<w:t/>");
    } else {
        append(bytes, kStart);
        appendSections(bytes, text);
        append(bytes, kEnd);
    }
    append(bytes, empty.substr(start + kStart.size() + kContent.size() + kEnd.size()));
    return bytes;
}

}  // namespace

Bytes richCode(const std::u16string& text) {
    try {
        return documentOf(fl::i18n::ustring_to_utf8(text));
    } catch (const fl::i18n::ConversionError&) {
        return richCodeByDom(text);
    }
}

Bytes richCodeByDom(const std::u16string& text) {
    const opc::model::XercesGuard guard;
    const auto document = createRichCodeDocument(text);
    const XercesPtr<xercesc::DOMLSSerializer> writer(XercesHelper::createWriter());
    Bytes bytes;
    opc::ByteArrayOutAdaptor out(bytes);
    XercesHelper::writeDocumentToStream(writer.get(), document.get(), out);
    return bytes;
}

}  // namespace flowbook::detail
