// Content types: media types with parameters, in the syntax of RFC 7231, 3.1.1.1. The media type is compared without
// regard to letter case, names and values of parameters are compared as they stand.
#include "opc/model/ContentType.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/names/Characters.hpp"

#include <algorithm>

namespace opc::model {
namespace {

using Parameter = std::pair<std::u16string, std::u16string>;
using Parameters = std::vector<Parameter>;

[[noreturn]] void refuseType(const std::u16string& text, const std::string& reason) {
    throw Exception(ErrorKind::Misuse, "in the content type " + detail::shown(text) + " " + reason);
}

bool isQuotable(char16_t c) { return c >= 0x20 && c < 0x7F; }

Parameters::const_iterator find(const Parameters& parameters, const std::u16string& name) {
    return std::find_if(parameters.begin(), parameters.end(), [&](const Parameter& p) { return p.first == name; });
}

/// Returns the parameters in the order of their names, so that comparing takes no quadratic time, however many
/// parameters a hostile file has.
Parameters sorted(Parameters parameters) {
    std::sort(parameters.begin(), parameters.end());
    return parameters;
}

bool haveSameName(const Parameter& a, const Parameter& b) { return a.first == b.first; }

/// Reads the text of a content type piece by piece.
class Scanner {
public:
    explicit Scanner(const std::u16string& text) : text_(text) {}

    bool atEnd() const { return at_ == text_.size(); }

    void skipSpace() {
        while (!atEnd() && (text_[at_] == u' ' || text_[at_] == u'\t')) {
            ++at_;
        }
    }

    void expect(char16_t c) {
        if (atEnd() || text_[at_] != c) {
            failHere("'" + std::string(1, static_cast<char>(c)) + "'");
        }
        ++at_;
    }

    /// Returns all that was read up to here.
    std::u16string_view taken() const { return std::u16string_view(text_).substr(0, at_); }

    std::u16string_view token() {
        const std::size_t start = at_;
        while (!atEnd() && detail::isTokenCharacter(text_[at_])) {
            ++at_;
        }
        if (at_ == start) {
            failHere("a token");
        }
        return std::u16string_view(text_).substr(start, at_ - start);
    }

    std::u16string value() { return !atEnd() && text_[at_] == u'"' ? quoted() : std::u16string(token()); }

private:
    /// A quoted string (RFC 7230, 3.2.6): a backslash stands for the character behind it.
    std::u16string quoted() {
        std::u16string value;
        expect(u'"');
        while (!atEnd() && text_[at_] != u'"') {
            at_ += text_[at_] == u'\\' ? 1 : 0;
            if (atEnd() || !(isQuotable(text_[at_]) || text_[at_] == u'\t')) {
                failHere("printable ASCII");
            }
            value += text_[at_++];
        }
        expect(u'"');
        return value;
    }

    [[noreturn]] void failHere(const std::string& expected) const {
        refuseType(text_, expected + " is missing at character " + std::to_string(at_ + 1));
    }

    const std::u16string& text_;
    std::size_t at_ = 0;
};

std::u16string quotedIfNeeded(const std::u16string& value) {
    if (detail::isToken(value)) {
        return value;
    }
    std::u16string quoted = u"\"";
    for (const char16_t c : value) {
        if (c == u'"' || c == u'\\') {
            quoted += u'\\';
        }
        quoted += c;
    }
    return quoted + u'"';
}

}  // namespace

ContentType::ContentType(const std::u16string& text) : text_(text) {
    Scanner scanner(text_);
    scanner.token();
    scanner.expect(u'/');
    scanner.token();
    mediaType_ = scanner.taken();
    std::transform(mediaType_.begin(), mediaType_.end(), mediaType_.begin(),
                   [](char16_t c) { return detail::fold(c); });
    while (!scanner.atEnd()) {
        scanner.skipSpace();
        scanner.expect(u';');
        scanner.skipSpace();
        const std::u16string_view name = scanner.token();
        scanner.expect(u'=');
        parameters_.emplace_back(name, scanner.value());
    }
    if (parameters_.size() < 2) {
        return;
    }
    const Parameters inOrder = sorted(parameters_);
    const auto twice = std::adjacent_find(inOrder.begin(), inOrder.end(), haveSameName);
    if (twice != inOrder.end()) {
        refuseType(text_, "the parameter " + detail::shown(twice->first) + " is there twice");
    }
}

void ContentType::addParameter(const std::u16string& name, const std::u16string& value) {
    const std::string parameter = "the parameter " + detail::shown(name) + " ";
    if (!detail::isToken(name)) {
        refuseType(text_, parameter + "cannot be: its name is no token");
    }
    if (hasParameter(name)) {
        refuseType(text_, parameter + "is there already");
    }
    if (!std::all_of(value.begin(), value.end(), isQuotable)) {
        refuseType(text_, parameter + "cannot have a value with a control or non-ASCII character");
    }
    parameters_.emplace_back(name, value);
    text_ += u';' + name + u'=' + quotedIfNeeded(value);
}

bool ContentType::hasParameter(const std::u16string& name) const {
    return find(parameters_, name) != parameters_.end();
}

std::u16string ContentType::getParameterValue(const std::u16string& name) const {
    const auto found = find(parameters_, name);
    if (found == parameters_.end()) {
        refuseType(text_, "there is no parameter " + detail::shown(name));
    }
    return found->second;
}

bool operator==(const ContentType& a, const ContentType& b) {
    return a.mediaType_ == b.mediaType_ && sorted(a.parameters_) == sorted(b.parameters_);
}

}  // namespace opc::model
