#pragma once

#include "fl/Bytes.hpp"
#include "kit/document/XmlReader.hpp"

#include <string>
#include <string_view>

namespace flowbook::kit {

/// The same bytes, as functions for text take them. The view is valid as long as they are.
inline std::string_view asText(const fl::Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Whether all bytes are well-formed UTF-8.
bool isUtf8(const std::string& text);

/// Whether the first bytes show UTF-16 (XML 1.0, appendix F).
bool isUtf16(const fl::Bytes& document);

/// Whether a rich code document can be read as UTF-8, as the library reads all of them; else it is read as it declares.
XmlEncoding encodingOf(const fl::Bytes& document);

/// An XML document in UTF-8: as it is where it can be read so, else transcoded, and its declaration with it.
/// @param where  opens the message. @throws opc::Exception (damaged) for one in no encoding that can be read.
fl::Bytes inUtf8(fl::Bytes document, const std::string& where);

/// A stored text as UTF-8, from byte `from` on: UTF-16 where its first bytes show it (XML 1.0, appendix F), UTF-8 where
/// all bytes are, else Latin-1, in which every byte is a character.
std::string textIn(const fl::Bytes& stored, std::size_t from = 0);

}  // namespace flowbook::kit
