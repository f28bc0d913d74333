#pragma once

#include "opc/model/XercesString.hpp"

#include <string>

namespace flowbook::format {

inline const std::u16string kDocumentPartName = u"/tarmic/document.xml";
inline const std::u16string kOutputPartName = u"/tarmic/output.xml";
inline const std::u16string kImagePartNamePrefix = u"/media/image";

inline const std::u16string kDocumentContentType = u"application/vnd.pellarion.tarmic.code.document+xml";
inline const std::u16string kOutputContentType = u"text/xml";

/// What the core properties of a new file declare when the caller names nothing else.
inline const std::u16string kDefaultCoreContentType = u"application/vnd.pellarion.tarmic.code";
inline const std::u16string kDefaultCoreContentTypeFriendlyName = u"TARMIC Code";

/// Parameters of the document part's content type, which tell the form of its content: none for rich
/// code in clear.
inline const std::u16string kPlainCodeParameter = u"plaincode";
inline const std::u16string kPlainCodeValue = u"true";
inline const std::u16string kEncryptionParameter = u"encryption";
inline const std::u16string kEncryptionValue = u"AES";

inline const std::u16string kDocumentRelationshipType =
    u"http://schemas.pellarion.com/tarmic/code/2013/relationships/document";
inline const std::u16string kOutputRelationshipType =
    u"http://schemas.pellarion.com/tarmic/code/2013/relationships/output";
inline const std::u16string kImageRelationshipType =
    u"http://schemas.pellarion.com/tarmic/code/2013/relationships/image";
inline const std::u16string kDocumentationRelationshipType =
    u"http://schemas.pellarion.com/tarmic/code/2013/relationships/documentation";
inline const std::u16string kStylesRelationshipType =
    u"http://schemas.pellarion.com/tarmic/code/2013/relationships/styles";

inline const std::u16string kRelationshipIdPrefix = u"rId";
inline const std::u16string kDocumentRelationshipId = u"rId1";
inline const std::u16string kOutputRelationshipId = u"rId2";

inline const std::u16string kFlowbookExtension = u".tqx";
inline const std::u16string kAppExtension = u".tqapp";

/// Rich code is WordprocessingML (ECMA-376-1) reduced to paragraphs, runs and text.
inline const std::u16string kWordNamespace = u"http://schemas.openxmlformats.org/wordprocessingml/2006/main";
inline const std::u16string kWordPrefix = u"w";
inline const std::u16string kDocumentElement = u"document";
inline const std::u16string kBodyElement = u"body";
inline const std::u16string kParagraphElement = u"p";
inline const std::u16string kParagraphPropertiesElement = u"pPr";
inline const std::u16string kParagraphStyleElement = u"pStyle";
inline const std::u16string kRunElement = u"r";
inline const std::u16string kTextElement = u"t";
inline const std::u16string kValueAttribute = u"val";
inline const std::u16string kCodeStyle = u"code";

/// The prefix, a colon and the local name.
opc::model::XercesString makeQualifiedName(const std::u16string& prefix, const std::u16string& localName);

}  // namespace flowbook::format

namespace flowbook::detail {

/// Whether a file name ends in an extension, in any letter case of the name.
/// @param extension  lower case, with its dot. A name that is nothing but the extension has none.
bool hasExtension(const std::u16string& fileName, const std::u16string& extension);

}  // namespace flowbook::detail
