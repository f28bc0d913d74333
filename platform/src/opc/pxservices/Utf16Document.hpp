#pragma once

#include "fl/Bytes.hpp"

#include <string>

namespace opc::pxservices::detail {

/// Whether an XML document is in UTF-16, by how it begins (XML 1.0, appendix F).
bool isUtf16(const fl::Bytes& xml);

/// Such a document in UTF-8, without its declaration, which would tell of the old encoding.
/// @param where  the file and the part, for messages. @throws opc::model::InvalidXMLDocument.
fl::Bytes utf8Of(const fl::Bytes& xml, const std::string& where);

}  // namespace opc::pxservices::detail
