#pragma once

#include "Fuzzing.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "utils/Code.hpp"

namespace fuzzing {

/// Holds the code that the scan finds in a document, if it is sure, against what a tree of the document says of it,
/// both as text and as bytes. @returns whether the scan was sure.
inline bool checkScan(const std::string& document) {
    const std::optional<std::u16string> code = flowbook::detail::scanForCode(document);
    if (!code) {
        return false;
    }
    std::u16string text, byText, byBytes;
    require(succeeds<fl::i18n::ConversionError>([&] { text = fl::i18n::utf8_to_ustring(document); }), "it is UTF-8");
    using opc::model::InvalidXMLDocument;
    require(succeeds<InvalidXMLDocument>([&] { byText = flowbook::detail::codeByDom(text); }),
            "text is XML to the DOM");
    const std::vector<unsigned char> bytes(document.begin(), document.end());
    opc::ByteArrayInAdaptor in(bytes);
    require(succeeds<InvalidXMLDocument>([&] { byBytes = flowbook::detail::codeByDom(in); }),
            "bytes are XML to the DOM");
    require(byText == *code && byBytes == *code, "the scan finds the code that the DOM has");
    return true;
}

}  // namespace fuzzing
