// The rules for part names (ECMA-376-2, 4th edition, 9.1.1). A name that breaks one is refused and never repaired, as
// two programs that repair it differently would see different parts. The numbers in the messages are those of the
// standard's requirements.
#include "opc/model/PartName.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/names/Characters.hpp"

#include <algorithm>

namespace opc::model {
namespace {

[[noreturn]] void refuseName(ErrorKind kind, const std::string& text, const std::string& reason) {
    throw Exception(kind, detail::shown(text) + " is no part name: " + reason);
}

/// What is wrong with the character or percent-encoding at `at`; null when nothing is.
const char* faultOfCharacter(std::string_view segment, std::size_t at) {
    const auto c = static_cast<unsigned char>(segment[at]);
    if (c != '%') {
        return detail::isSegmentCharacter(c) ? nullptr : "a segment holds a character that must not be there (M1.6)";
    }
    if (!detail::isPercentEncoding(segment, at)) {
        return "two hexadecimal digits must follow a '%' (M1.6)";
    }
    const unsigned char octet = detail::decodedOctet(segment, at);
    if (octet == '/' || octet == '\\') {
        return "a segment holds a percent-encoded slash or backslash (M1.7)";
    }
    return detail::isUnreserved(octet) ? "a segment holds a percent-encoded unreserved character (M1.8)" : nullptr;
}

const char* faultOfSegment(std::string_view segment) {
    if (segment.empty()) {
        return "it has an empty segment (M1.3)";
    }
    for (std::size_t at = 0; at != segment.size(); ++at) {
        if (const char* fault = faultOfCharacter(segment, at)) {
            return fault;
        }
    }
    if (segment.find_first_not_of('.') == std::string_view::npos) {
        return "a segment consists of dots (M1.10)";
    }
    return segment.back() == '.' ? "a segment ends with a dot (M1.9)" : nullptr;
}

/// Returns what is wrong with a name; null for a part name.
const char* faultOf(std::string_view text) {
    if (text.empty()) {
        return "it is empty (M1.1)";
    }
    if (text[0] != '/') {
        return "it does not begin with a slash (M1.4)";
    }
    if (text.back() == '/') {
        return "it ends with a slash (M1.5)";
    }
    for (std::size_t at = 0; at != text.size();) {
        const std::size_t end = std::min(text.find('/', at + 1), text.size());
        if (const char* fault = faultOfSegment(text.substr(at + 1, end - at - 1))) {
            return fault;
        }
        at = end;
    }
    return nullptr;
}

/// Decodes unreserved characters, which RFC 3986 (6.2.2.2) has equivalent to themselves, so that a target which encodes
/// them still leads to its part: part names never encode them (M1.8).
std::string withUnreservedDecoded(const std::string& path) {
    if (path.find('%') == std::string::npos) {
        return path;
    }
    std::string decoded;
    decoded.reserve(path.size());
    for (std::size_t at = 0; at != path.size(); ++at) {
        if (path[at] == '%' && detail::isUnreserved(detail::decodedOctet(path, at))) {
            decoded += static_cast<char>(detail::decodedOctet(path, at));
            at += 2;
        } else {
            decoded += path[at];
        }
    }
    return decoded;
}

/// Returns nothing for a name that is folded already: most are in lower case, and need no second text.
std::string foldedUnlessSame(const std::string& name) {
    const bool isSame = std::none_of(name.begin(), name.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    return isSame ? std::string() : detail::fold(name);
}

}  // namespace

PartName::PartName(const std::u16string& text) : text_(fl::i18n::to_string(text)), folded_(foldedUnlessSame(text_)) {
    if (const char* fault = faultOf(text_)) {
        refuseName(ErrorKind::Misuse, text_, fault);
    }
}

/// A reference that is no part name is reported as Damaged, as it comes from a file; text that is none is the mistake
/// of a caller.
PartName::PartName(const URI& uri) : text_(withUnreservedDecoded(uri.path())), folded_(foldedUnlessSame(text_)) {
    if (uri.hasScheme() || uri.hasAuthority() || uri.hasQuery()) {
        refuseName(ErrorKind::Damaged, fl::i18n::to_string(uri.toString()), "it has a scheme, an authority or a query");
    }
    if (const char* fault = faultOf(text_)) {
        refuseName(ErrorKind::Damaged, text_, fault);
    }
}

PartName::PartName(Checked, std::string_view text) : text_(text), folded_(foldedUnlessSame(text_)) {}

std::optional<PartName> PartName::parse(std::string_view text) {
    return isValid(text) ? std::optional(PartName(Checked(), text)) : std::nullopt;
}

bool PartName::isValid(std::string_view text) noexcept { return faultOf(text) == nullptr; }

URI PartName::getURI() const { return URI(toString()); }

std::u16string PartName::toString() const { return {text_.begin(), text_.end()}; }

}  // namespace opc::model
