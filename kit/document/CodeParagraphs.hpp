#pragma once

#include "fl/Bytes.hpp"
#include "kit/document/RichText.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flowbook::kit {

/// The code of each code paragraph of a rich code document, in document order; lines end in line feeds.
/// @throws opc::Exception (damaged) when the document is malformed.
std::vector<std::string> codeParagraphs(const fl::Bytes& document);

/// The document with other code in its code paragraphs. Their markup, all other paragraphs, and paragraphs whose code
/// is the same keep their bytes. What XML cannot hold becomes U+FFFD, as the library has it. A document in another
/// encoding that is changed becomes UTF-8.
/// @param code  UTF-8, one text for each of codeParagraphs().
/// @throws opc::Exception (damaged) for a malformed document, (misuse) for another number of texts.
fl::Bytes withCodeParagraphs(const fl::Bytes& document, const std::vector<std::string>& code);

/// What a line feed at the end of code stands for: for itself, or for the end of a file's last line.
enum class FinalLineFeed { Counts, EndsFile };

/// Divides plain code among the code paragraphs that it was put together of: each takes as many lines as it had, or,
/// where the number of lines differs, the one paragraph in which all changed lines lie takes the difference.
/// @param before  as codeParagraphs() returns. @param final  of one line feed at the end that the old code lacks.
/// @returns nothing when it is not clear which paragraph a line belongs to.
std::optional<std::vector<std::string>> divideCode(const std::vector<std::string>& before, std::string_view code,
                                                   FinalLineFeed final = FinalLineFeed::EndsFile);

/// Text with the characters that markup uses as escapes.
std::string escapedText(std::string_view text);

/// Text as it comes back once it was stored: lines end in LF, and what XML cannot hold is U+FFFD. UTF-8.
std::string storable(const std::string& text);

/// Lines that end in CR LF or CR as lines that end in LF, as XML has them.
std::string withLineFeeds(std::string_view text);

/// Reads a document and refuses one that is malformed. @throws opc::Exception (damaged).
RichText requireRichText(const fl::Bytes& document);

/// The bytes of a paragraph from `begin` to its end, with other code in it.
/// @param paragraph  one of the document that has code. @param begin  at or before the paragraph.
std::string withCode(std::string_view document, const Paragraph& paragraph, std::size_t begin, const std::string& code);

/// As withCode(), for text that XML can hold, which stays as it is.
std::string withText(std::string_view document, const Paragraph& paragraph, std::size_t begin, std::string_view text);

/// A new code paragraph.
/// @param declares  whether it has to declare the namespace "w" itself.
std::string newCodeParagraph(const std::string& code, bool declares);

/// As newCodeParagraph(), for text that XML can hold, which stays as it is.
std::string newTextParagraph(std::string_view text, bool declares);

}  // namespace flowbook::kit
