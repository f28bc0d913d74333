// Writes package XML. Characters that a parser would change are written as references, so that every text comes back as
// it was given: a carriage return always, tab and line feed in attribute values, which are normalised there (XML 1.0,
// 2.11 and 3.3.3).
#include "opc/xml/XmlWriter.hpp"

#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "plainxml/XmlCharacters.hpp"

#include <algorithm>

namespace opc::model::detail {
namespace {

constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)";

/// Returns the reference for a character that is markup or that a parser would normalise; empty for any other.
std::string_view escapeOf(char c, bool inAttribute) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '\r':
        return "&#13;";
    case '"':
        return inAttribute ? "&quot;" : "";
    case '\t':
        return inAttribute ? "&#9;" : "";
    case '\n':
        return inAttribute ? "&#10;" : "";
    default:
        return "";
    }
}

}  // namespace

std::optional<std::string> toXmlText(std::u16string_view text) {
    if (std::any_of(text.begin(), text.end(), plainxml::isForbidden<char16_t>)) {
        return std::nullopt;
    }
    try {
        return fl::i18n::ustring_to_utf8(text);
    } catch (const fl::i18n::ConversionError&) {
        return std::nullopt;
    }
}

XmlWriter::XmlWriter(Kind kind) {
    if (kind == Kind::Document) {
        bytes_.assign(kDeclaration.begin(), kDeclaration.end());
    }
}

XmlWriter& XmlWriter::start(std::string_view qualifiedName) {
    closeStartTag();
    append("<");
    append(qualifiedName);
    open_.emplace_back(qualifiedName);
    inStartTag_ = true;
    return *this;
}

XmlWriter& XmlWriter::attribute(std::string_view qualifiedName, std::string_view value) {
    append(" ");
    append(qualifiedName);
    append("=\"");
    appendEscaped(value, true);
    append("\"");
    return *this;
}

XmlWriter& XmlWriter::text(std::string_view text) {
    if (!text.empty()) {
        closeStartTag();
        appendEscaped(text, false);
    }
    return *this;
}

XmlWriter& XmlWriter::end() {
    if (inStartTag_) {
        append("/>");
        inStartTag_ = false;
    } else {
        append("</");
        append(open_.back());
        append(">");
    }
    open_.pop_back();
    return *this;
}

XmlWriter& XmlWriter::element(std::string_view qualifiedName, std::string_view content) {
    return start(qualifiedName).text(content).end();
}

void XmlWriter::appendEscaped(std::string_view text, bool inAttribute) {
    for (const char c : text) {
        const std::string_view escape = escapeOf(c, inAttribute);
        if (escape.empty()) {
            bytes_.push_back(static_cast<unsigned char>(c));
        } else {
            append(escape);
        }
    }
}

void XmlWriter::closeStartTag() {
    if (inStartTag_) {
        append(">");
        inStartTag_ = false;
    }
}

}  // namespace opc::model::detail
