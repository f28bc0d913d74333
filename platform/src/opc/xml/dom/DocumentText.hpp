#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace opc::model {

/// What is known of a document's encoding before its declaration is read, which must not contradict it.
enum class SourceEncoding { Text, Utf8, Utf16LittleEndian, Utf16BigEndian };

/// The characters of a document. They are decoded and checked before a parser sees them: the XML library drops some of
/// what it cannot decode, and takes some of what XML forbids.
struct DocumentText {
    std::u16string characters;
    SourceEncoding encoding = SourceEncoding::Text;
};

/// @throws InvalidXMLDocument of kind LimitExceeded when a document of so many UTF-16 units, at the least, takes more
///         memory than Limits::kDomBytes. @param document  what messages call it, here and below.
void checkSize(std::uint64_t units, const std::string& document);

/// @throws InvalidXMLDocument when the bytes are neither UTF-8 nor UTF-16.
DocumentText decodeDocument(const std::vector<unsigned char>& bytes, const std::string& document);

/// @throws InvalidXMLDocument for a lone surrogate and for a NUL character, wherever they stand.
void checkCharacters(const std::u16string& characters, const std::string& document);

}  // namespace opc::model
