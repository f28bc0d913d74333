#pragma once

#include "flowbook/FlowbookExport.hpp"
#include "opc/InputStream.hpp"

#include <string>

namespace flowbook {

/// Work on code outside of any file. Stateless; safe to call from several threads at once.
class PXFLOWBOOK_EXPORT FlowbookFileUtils {
public:
    FlowbookFileUtils() = delete;

    /// The lines of code of a rich code document: of every paragraph of the style "code" the first
    /// text of the first run, joined by line feeds, none at the end. Paragraphs of other styles, and
    /// further runs of a code paragraph, are left out.
    /// @param richCode  the whole XML text; a leading byte order mark is skipped, a declared encoding
    ///                  ignored.
    /// @throws opc::model::InvalidXMLDocument when it is not well-formed, or has a document type
    ///         declaration.
    static std::u16string getTARMICCodeFromRichTARMICCode(const std::u16string& richCode);

    /// As above, from the bytes of the document (UTF-8 or UTF-16), read to the end. What the stream
    /// throws passes through.
    static std::u16string getTARMICCodeFromRichTARMICCode(opc::InputStream& richCodeStream);

    /// A copy of the text in which every code unit that XML 1.0 forbids, or that would disturb an
    /// editor, is U+FFFD: U+0000 to U+0008, U+000B, U+000C, U+000E to U+001F, U+007F to U+009F, U+200B,
    /// U+FFFE and U+FFFF. All else stays, lone surrogates too, so the length never changes.
    /// @throws std::bad_alloc only.
    static std::u16string encodeControlCharacters(const std::u16string& text);
};

}  // namespace flowbook
