// Code between the text that a user edits and the paragraphs that hold it. Editors see one text of lines. Which line
// belongs to which paragraph is clear as long as the number of lines stays, or changes within one paragraph; where it
// could be either of two, nothing is guessed.
#include "kit/document/CodeParagraphs.hpp"

#include "fl/i18n/Conversion.hpp"
#include "flowbook/FlowbookFileUtils.hpp"
#include "kit/document/Characters.hpp"
#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

#include <algorithm>

namespace flowbook::kit {

namespace {

constexpr std::string_view kCdataBegin = "<![CDATA[";
constexpr std::string_view kCdataEnd = "]]>";

/// "]]>" would end the section, so each is divided between two sections.
std::string inSections(std::string_view text) {
    std::string result(kCdataBegin);
    for (std::size_t end = text.find(kCdataEnd); end != std::string_view::npos; end = text.find(kCdataEnd)) {
        result.append(text.substr(0, end + 2)).append(kCdataEnd).append(kCdataBegin);
        text.remove_prefix(end + 2);
    }
    return result.append(text).append(kCdataEnd);
}

std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    lines.push_back(text);
    return lines;
}

std::string joined(const std::vector<std::string_view>& lines, std::size_t begin, std::size_t end) {
    std::string text;
    for (std::size_t i = begin; i < end; ++i) {
        text.append(i == begin ? "" : "\n").append(lines[i]);
    }
    return text;
}

/// The paragraph that takes the difference in number, so that all others keep their lines; `count` when there is none,
/// or when a line could belong to either of two.
std::size_t paragraphOfChange(const std::vector<std::string_view>& old, const std::vector<std::string_view>& fresh,
                              const std::vector<std::size_t>& sizes) {
    const std::size_t common = std::min(old.size(), fresh.size());
    const auto differs = std::mismatch(old.begin(), old.begin() + static_cast<std::ptrdiff_t>(common), fresh.begin());
    const auto prefix = static_cast<std::size_t>(differs.first - old.begin());
    const auto reverse =
        std::mismatch(old.rbegin(), old.rbegin() + static_cast<std::ptrdiff_t>(common), fresh.rbegin());
    const auto suffix = static_cast<std::size_t>(reverse.first - old.rbegin());
    std::size_t found = sizes.size();
    std::size_t begin = 0;
    for (std::size_t i = 0; i < sizes.size(); begin += sizes[i++]) {
        if (begin <= prefix && old.size() - suffix <= begin + sizes[i]) {
            if (found != sizes.size()) {
                return sizes.size();
            }
            found = i;
        }
    }
    return found;
}

}  // namespace

std::string escapedText(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else if (c == '>') {
            result += "&gt;";
        } else if (c == '\r') {
            result += "&#13;";  // a parser would report one that stands as it is as a line feed
        } else {
            result += c;
        }
    }
    return result;
}

std::string storable(const std::string& code) {
    const std::u16string text = fl::i18n::to_ustring(withLineFeeds(code));
    return fl::i18n::to_string(FlowbookFileUtils::encodeControlCharacters(text));
}

std::string withLineFeeds(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isFirstOfTwo = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (!isFirstOfTwo) {
            result += text[i] == '\r' ? '\n' : text[i];
        }
    }
    return result;
}

RichText requireRichText(const fl::Bytes& document) {
    RichText text = readRichText(document, "the code");
    if (!text.fault.empty()) {
        throw opc::Exception(opc::ErrorKind::Damaged, text.fault);
    }
    return text;
}

std::string withText(std::string_view document, const Paragraph& paragraph, std::size_t begin, std::string_view text) {
    const XmlSpan old = paragraph.codeText;
    // An empty element, <w:t/>, is opened, so that text can stand in it.
    std::string_view before = document.substr(begin, old.begin - begin);
    std::string after(document.substr(old.end, paragraph.span.end - old.end));
    if (endsWith(before, "/>")) {
        const std::string_view tag = before.substr(before.rfind('<') + 1);
        after = "</" + std::string(tag.substr(0, tag.find_first_of(" \t\r\n/"))) + ">" + after;
        before.remove_suffix(2);
    }
    // A section stays one, for those who read the markup; but it cannot hold a carriage return, which needs a
    // reference.
    const bool isCdata = startsWith(document.substr(old.begin, old.end - old.begin), kCdataBegin) &&
                         text.find('\r') == std::string_view::npos;
    return std::string(before) + (endsWith(before, ">") ? "" : ">") + (isCdata ? inSections(text) : escapedText(text)) +
           after;
}

std::string withCode(std::string_view document, const Paragraph& paragraph, std::size_t begin,
                     const std::string& code) {
    return withText(document, paragraph, begin, storable(code));
}

std::string newCodeParagraph(const std::string& code, bool declares) {
    return newTextParagraph(storable(code), declares);
}

std::string newTextParagraph(std::string_view text, bool declares) {
    const std::string declaration = declares ? " xmlns:w=\"" + std::string(kWordNamespace) + "\"" : "";
    return "<w:p" + declaration + "><w:pPr><w:pStyle w:val=\"code\"/></w:pPr><w:r><w:t>" + escapedText(text) +
           "</w:t></w:r></w:p>";
}

std::vector<std::string> codeParagraphs(const fl::Bytes& document) {
    std::vector<std::string> code;
    for (const Paragraph& paragraph : requireRichText(inUtf8(document, "the code")).paragraphs) {
        if (paragraph.code) {
            code.push_back(withLineFeeds(*paragraph.code));
        }
    }
    return code;
}

fl::Bytes withCodeParagraphs(const fl::Bytes& document, const std::vector<std::string>& code) {
    const fl::Bytes utf8 = inUtf8(document, "the code");
    const std::string_view bytes = asText(utf8);
    std::string result;
    std::size_t done = 0;
    std::size_t number = 0;
    for (const Paragraph& paragraph : requireRichText(utf8).paragraphs) {
        if (!paragraph.code || number++ >= code.size()) {
            continue;
        }
        if (withLineFeeds(*paragraph.code) != withLineFeeds(code[number - 1])) {
            result += withCode(bytes, paragraph, done, code[number - 1]);
            done = paragraph.span.end;
        }
    }
    if (number != code.size()) {
        throw opc::Exception(opc::ErrorKind::Misuse, std::to_string(code.size()) + " texts are given for " +
                                                         std::to_string(number) + " code paragraphs");
    }
    if (done == 0) {
        return document;
    }
    result.append(bytes.substr(done));
    return {result.begin(), result.end()};
}

namespace {

/// Of the paragraphs, with line feeds between them.
std::string joined(const std::vector<std::string>& paragraphs) {
    std::string all;
    for (std::size_t i = 0; i < paragraphs.size(); ++i) {
        all += (i == 0 ? "" : "\n") + paragraphs[i];
    }
    return all;
}

std::optional<std::vector<std::string>> divide(const std::vector<std::string>& before, std::string_view old,
                                               std::string_view fresh) {
    std::vector<std::size_t> sizes;
    for (const std::string& paragraph : before) {
        sizes.push_back(splitLines(paragraph).size());
    }
    const std::vector<std::string_view> oldLines = splitLines(old);
    const std::vector<std::string_view> lines = splitLines(fresh);
    if (lines.size() != oldLines.size()) {
        const std::size_t changed = paragraphOfChange(oldLines, lines, sizes);
        if (changed == sizes.size() || sizes[changed] + lines.size() <= oldLines.size()) {
            return std::nullopt;
        }
        sizes[changed] += lines.size() - oldLines.size();
    }
    std::vector<std::string> divided;
    std::size_t begin = 0;
    for (const std::size_t size : sizes) {
        divided.push_back(joined(lines, begin, begin + size));
        begin += size;
    }
    return before.empty() ? std::nullopt : std::make_optional(std::move(divided));
}

}  // namespace

std::optional<std::vector<std::string>> divideCode(const std::vector<std::string>& before, std::string_view code,
                                                   FinalLineFeed final) {
    const std::string old = joined(before);
    std::string fresh = withLineFeeds(code);
    const bool isAdded = endsWith(fresh, "\n") && !endsWith(old, "\n");
    const bool replacesLastLine = final == FinalLineFeed::Counts && splitLines(fresh).size() == splitLines(old).size();
    if (!isAdded || replacesLastLine) {
        return divide(before, old, fresh);
    }
    // Editors end a file with a line feed that the code did not have; it is no new line of the code.
    fresh.pop_back();
    auto divided = divide(before, old, fresh);
    if (divided && final == FinalLineFeed::Counts) {
        divided->back() += '\n';
    }
    return divided;
}

}  // namespace flowbook::kit
