#include "opc/xml/FlatXmlReader.hpp"

#include "opc/Exception.hpp"
#include "opc/xml/PackageXmlReader.hpp"
#include "plainxml/Reader.hpp"

#include <algorithm>

namespace opc::model::detail {
namespace {

using plainxml::Reader;

bool hasVerbatimAttributes(const Reader& reader) {
    return std::all_of(reader.attributesBegin(), reader.attributesEnd(),
                       [](const Reader::Attribute& each) { return each.isVerbatim; });
}

/// Whether a handler would be told of elements only, and of attributes as they stand in the document. To be known
/// before the handler takes in the first of them.
bool isPlain(std::string_view document) {
    Reader reader(document);
    std::u16string text;
    for (Reader::Event event = reader.next(&text); event != Reader::Event::Done; event = reader.next(&text)) {
        const bool isBlank = text.find_first_not_of(u" \t\n") == std::u16string::npos;
        if (event == Reader::Event::Odd || !isBlank || !hasVerbatimAttributes(reader)) {
            return false;
        }
        text.clear();
    }
    return true;
}

void describe(const Reader& reader, XmlElement& element) {
    element.name.ns = reader.ns();
    element.name.local = reader.local();
    element.attributes.clear();
    std::for_each(reader.attributesBegin(), reader.attributesEnd(), [&](const Reader::Attribute& each) {
        element.attributes.push_back({{each.ns, each.local, each.prefix}, each.value});
    });
}

/// The line and the column, in characters, of the tag that a name is in.
std::string placeOf(std::string_view name, std::string_view document) {
    const auto tag = document.rfind('<', static_cast<std::size_t>(name.data() - document.data()));
    const std::string_view before = document.substr(0, tag);
    const auto line = std::count(before.begin(), before.end(), '\n');
    const std::string_view beside = before.substr(before.rfind('\n') + 1);
    const auto column = std::count_if(beside.begin(), beside.end(),
                                      [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
    return ", line " + std::to_string(line + 1) + ", column " + std::to_string(column + 1) + ": ";
}

void parsePlain(std::string_view document, const std::string& where, FlatXmlHandler& handler) {
    Reader reader(document);
    XmlElement element;
    try {
        for (Reader::Event event = reader.next(nullptr); event != Reader::Event::Done; event = reader.next(nullptr)) {
            if (event == Reader::Event::End) {
                handler.endElement({});
            } else {
                describe(reader, element);
                handler.startElement(element);
            }
        }
    } catch (const XmlFault& fault) {
        throw Exception(ErrorKind::Damaged, where + placeOf(reader.local(), document) + fault.message);
    }
}

}  // namespace

void parseFlatXml(const fl::Bytes& bytes, const std::string& where, FlatXmlHandler& handler) {
    const std::string_view document(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!bytes.empty() && bytes[0] == '<' && isPlain(document)) {
        parsePlain(document, where, handler);
    } else {
        parsePackageXml(bytes, where, handler);
    }
}

}  // namespace opc::model::detail
