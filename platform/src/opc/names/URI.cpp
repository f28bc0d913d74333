// References by RFC 3986. A text is split by the expression of its appendix B and not validated further: targets in
// real files hold blanks, brackets and letters beyond ASCII. These are percent-encoded, so that a URI's own text is
// always a valid reference, and parsing it again gives the same URI.
#include "opc/model/URI.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/names/Characters.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace opc::model {
namespace {

using detail::isDigit;
using detail::isLetter;
using detail::isOneOf;

constexpr std::size_t kNone = std::string::npos;

[[noreturn]] void refuseReference(const std::u16string& text, const std::string& reason) {
    throw Exception(ErrorKind::Misuse, detail::shown(text) + " is no URI reference: " + reason);
}

std::string utf8(const std::u16string& text) {
    try {
        return fl::i18n::ustring_to_utf8(text);
    } catch (const fl::i18n::ConversionError& error) {
        refuseReference(text, error.what());
    }
}

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

void appendEncoded(unsigned char octet, std::string& to) {
    to += '%' + fl::ascii::hex(octet, 2, fl::ascii::kUpperHexDigits);
}

constexpr detail::AsciiClass kUriCharacters("-._~!$&'()*+,;=:@/?#[]");

/// Whether a URI may hold `c` somewhere. Whether brackets and "%" are permitted depends on their place, which is
/// checked elsewhere.
bool isUriCharacter(char c) { return kUriCharacters.has(static_cast<unsigned char>(c)); }

std::string percentEncoded(const std::u16string& text) {
    std::string bytes = utf8(text);
    if (std::all_of(bytes.begin(), bytes.end(), isUriCharacter)) {
        return bytes;
    }
    std::string encoded;
    encoded.reserve(bytes.size());
    for (std::size_t at = 0; at != bytes.size(); ++at) {
        const char c = bytes[at];
        if (isControl(c)) {
            refuseReference(text, "it holds a control character");
        }
        if (c == '%' && !detail::isPercentEncoding(bytes, at)) {
            refuseReference(text, "two hexadecimal digits must follow a '%'");
        }
        if (c == '%' || isUriCharacter(c)) {
            encoded += c;
        } else {
            appendEncoded(static_cast<unsigned char>(c), encoded);
        }
    }
    return encoded;
}

bool isScheme(const std::string& text, std::size_t end) {
    if (end == 0 || !isLetter(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    for (std::size_t at = 1; at != end; ++at) {
        const auto c = static_cast<unsigned char>(text[at]);
        if (!isLetter(c) && !isDigit(c) && !isOneOf(c, "+-.")) {
            return false;
        }
    }
    return true;
}

/// Percent-encodes some characters. Outside an authority, brackets delimit nothing and are data, which must be encoded.
std::string withEncoded(std::string text, std::string_view characters) {
    if (text.find_first_of(characters) == kNone) {
        return text;
    }
    std::string encoded;
    encoded.reserve(text.size());
    for (const char c : text) {
        if (isOneOf(static_cast<unsigned char>(c), characters)) {
            appendEncoded(static_cast<unsigned char>(c), encoded);
        } else {
            encoded += c;
        }
    }
    return encoded;
}

/// Cuts `text` at `at` and returns what comes after the character there.
std::string splitOff(std::string& text, std::size_t at) {
    std::string rest = text.substr(at + 1);
    text.resize(at);
    return rest;
}

/// Drops the last segment of a path, with the slash before it.
void dropLastSegment(std::string& path) {
    const std::size_t slash = path.rfind('/');
    path.resize(slash == kNone ? 0 : slash);
}

/// Returns how much of a path is dot segments before the first other segment (RFC 3986, 5.2.4, steps A and D).
std::size_t leadingDots(std::string_view path) {
    std::size_t at = 0;
    while (path.substr(at, 2) == "./" || path.substr(at, 3) == "../") {
        at = path.find('/', at) + 1;
    }
    return path.substr(at) == "." || path.substr(at) == ".." ? path.size() : at;
}

/// Removes dot segments (RFC 3986, 5.2.4), in one pass and without the input buffer of the RFC's description, which
/// would take quadratic time.
std::string withoutDotSegments(const std::string& path) {
    if (path.find("/.") == kNone && path.compare(0, 1, ".") != 0) {
        return path;
    }
    std::string output;
    output.reserve(path.size());
    for (std::size_t at = leadingDots(path); at < path.size();) {
        const std::size_t end = std::min(path.find('/', at + 1), path.size());
        const std::string_view segment = std::string_view(path).substr(at, end - at);
        if (segment == "/..") {
            dropLastSegment(output);
        }
        if (segment != "/." && segment != "/..") {
            output += segment;
        } else if (end == path.size()) {
            output += '/';
        }
        at = end;
    }
    return output;
}

/// RFC 3986, 5.2.3: `path` in the place of the last segment of the base's path.
std::string merged(const URI& base, const std::string& path) {
    const std::size_t slash = base.path().rfind('/');
    return slash == kNone ? "/" + path : base.path().substr(0, slash + 1) + path;
}

/// Whether the start of a path would be read as a scheme (RFC 3986, 4.2).
bool looksLikeScheme(std::string_view path) { return path.substr(0, path.find('/')).find(':') != path.npos; }

}  // namespace

URI::URI(const std::u16string& text) {
    parse(percentEncoded(text));
    if (scheme_.empty() && !hasAuthority_ && looksLikeScheme(path_)) {
        refuseReference(text, "what comes before the ':' is no scheme");
    }
}

/// Splits a reference into its components, as the expression in RFC 3986, appendix B, does. Each delimiter is looked
/// for in what the ones before it have left.
void URI::parse(std::string text) {
    path_ = std::move(text);
    if (const std::size_t hash = path_.find('#'); hash != kNone) {
        fragment_ = withEncoded(splitOff(path_, hash), "#[]");
        hasFragment_ = true;
    }
    if (const std::size_t mark = path_.find('?'); mark != kNone) {
        query_ = withEncoded(splitOff(path_, mark), "[]");
        hasQuery_ = true;
    }
    if (const std::size_t colon = path_.find(':'); colon != kNone && isScheme(path_, colon)) {
        scheme_ = path_.substr(0, colon);
        path_.erase(0, colon + 1);
    }
    if (path_.compare(0, 2, "//") == 0) {
        const std::size_t end = std::min(path_.find('/', 2), path_.size());
        authority_ = path_.substr(2, end - 2);
        path_.erase(0, end);
        hasAuthority_ = true;
    }
    path_ = withEncoded(std::move(path_), "[]");
}

/// Resolves a reference (RFC 3986, 5.2.2). A component that the reference lacks comes from the base only as long as no
/// earlier component was given.
URI URI::resolvedAgainst(const URI& base) const {
    URI target = *this;
    if (hasScheme() || hasAuthority()) {
        target.path_ = withoutDotSegments(path_);
    } else {
        target.authority_ = base.authority_;
        target.hasAuthority_ = base.hasAuthority_;
        if (!path_.empty()) {
            target.path_ = withoutDotSegments(path_[0] == '/' ? path_ : merged(base, path_));
        } else {
            target.path_ = base.path_;
            target.query_ = hasQuery_ ? query_ : base.query_;
            target.hasQuery_ = hasQuery_ || base.hasQuery_;
        }
    }
    if (!hasScheme()) {
        target.scheme_ = base.scheme_;
    }
    return target;
}

/// Recomposes the components (RFC 3986, 5.3). A path that would be read as something else without its original
/// surroundings is given a dot segment in front, as 4.2 recommends.
std::u16string URI::toString() const {
    std::string text = hasScheme() ? scheme_ + ":" : "";
    if (hasAuthority_) {
        text += "//" + authority_;
    } else if (path_.compare(0, 2, "//") == 0) {
        text += "/.";  // or the path would be read as an authority
    } else if (!hasScheme() && looksLikeScheme(path_)) {
        text += "./";  // or its first segment would be read as a scheme
    }
    text += path_;
    if (hasQuery_) {
        text += "?" + query_;
    }
    if (hasFragment_) {
        text += "#" + fragment_;
    }
    return {text.begin(), text.end()};
}

}  // namespace opc::model
