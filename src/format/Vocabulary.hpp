#pragma once

#include "opc/model/XercesString.hpp"

#include <string>

namespace flowbook::format {

/// A text that is never destroyed: a host's static objects may save flowbooks after those of this library are gone.
inline const std::u16string& kept(const char16_t* text) { return *new std::u16string(text); }

/// Where a new file has its parts. A reader never relies on these names: it follows relationships.
inline const std::u16string& kDocumentPartName = kept(u"/tarmic/document.xml");
inline const std::u16string& kOutputPartName = kept(u"/tarmic/output.xml");
inline const std::u16string& kImagePartNamePrefix = kept(u"/media/image");

inline const std::u16string& kDocumentContentType = kept(u"application/vnd.pellarion.tarmic.code.document+xml");
inline const std::u16string& kOutputContentType = kept(u"text/xml");

/// What the core properties of a new file declare when the caller names nothing else.
inline const std::u16string& kDefaultCoreContentType = kept(u"application/vnd.pellarion.tarmic.code");
inline const std::u16string& kDefaultCoreContentTypeFriendlyName = kept(u"TARMIC Code");

/// Parameters of the document part's content type, which state the form of its content: none for rich
/// code in clear.
inline const std::u16string& kPlainCodeParameter = kept(u"plaincode");
inline const std::u16string& kPlainCodeValue = kept(u"true");
inline const std::u16string& kEncryptionParameter = kept(u"encryption");
inline const std::u16string& kEncryptionValue = kept(u"AES");

/// By these types a reader finds the parts, as ECMA-376-2 has it, wherever they lie.
inline const std::u16string& kDocumentRelationshipType =
    kept(u"http://schemas.pellarion.com/tarmic/code/2013/relationships/document");
inline const std::u16string& kOutputRelationshipType =
    kept(u"http://schemas.pellarion.com/tarmic/code/2013/relationships/output");
inline const std::u16string& kImageRelationshipType =
    kept(u"http://schemas.pellarion.com/tarmic/code/2013/relationships/image");
inline const std::u16string& kDocumentationRelationshipType =
    kept(u"http://schemas.pellarion.com/tarmic/code/2013/relationships/documentation");
inline const std::u16string& kStylesRelationshipType =
    kept(u"http://schemas.pellarion.com/tarmic/code/2013/relationships/styles");

/// The ids of a new snapshot. Files that are read may have any other ids.
inline const std::u16string& kRelationshipIdPrefix = kept(u"rId");
inline const std::u16string& kDocumentRelationshipId = kept(u"rId1");
inline const std::u16string& kOutputRelationshipId = kept(u"rId2");

inline const std::u16string& kFlowbookExtension = kept(u".tqx");
inline const std::u16string& kAppExtension = kept(u".tqapp");

/// Rich code is WordprocessingML (ECMA-376-1) reduced to paragraphs, runs and text.
inline const std::u16string& kWordNamespace = kept(u"http://schemas.openxmlformats.org/wordprocessingml/2006/main");
inline const std::u16string& kWordPrefix = kept(u"w");
inline const std::u16string& kDocumentElement = kept(u"document");
inline const std::u16string& kBodyElement = kept(u"body");
inline const std::u16string& kParagraphElement = kept(u"p");
inline const std::u16string& kParagraphPropertiesElement = kept(u"pPr");
inline const std::u16string& kParagraphStyleElement = kept(u"pStyle");
inline const std::u16string& kRunElement = kept(u"r");
inline const std::u16string& kTextElement = kept(u"t");
inline const std::u16string& kValueAttribute = kept(u"val");
inline const std::u16string& kCodeStyle = kept(u"code");

/// The prefix, a colon and the local name.
opc::model::XercesString makeQualifiedName(const std::u16string& prefix, const std::u16string& localName);

}  // namespace flowbook::format

namespace flowbook::detail {

/// Whether a file name ends in an extension, in any letter case of the name.
/// @param extension  lower case, with its dot. A name that is nothing but the extension has none.
bool hasExtension(const std::u16string& fileName, const std::u16string& extension);

}  // namespace flowbook::detail
