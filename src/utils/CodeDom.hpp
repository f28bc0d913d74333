#pragma once

#include "opc/InputStream.hpp"

#include <string>

namespace flowbook::detail {

/// The plain code of any rich code document, by a tree of it. The text and the stream are those that
/// FlowbookFileUtils::getTARMICCodeFromRichTARMICCode takes.
/// @throws opc::model::InvalidXMLDocument, and what the stream throws.
std::u16string codeByDom(const std::u16string& richCode);
std::u16string codeByDom(opc::InputStream& richCode);

}  // namespace flowbook::detail
