#include "opc/xml/FlatXmlReader.hpp"

#include "opc/xml/PackageXmlReader.hpp"
#include "plainxml/Reader.hpp"

#include <algorithm>

namespace opc::model::detail {
namespace {

using plainxml::Reader;

constexpr std::size_t kUsualAttributes = 4;

/// @returns whether the values of all attributes are what stands in the document.
bool describe(const Reader& reader, XmlElement& element) {
    element.name.ns = reader.ns();
    element.name.local = reader.local();
    element.attributes.clear();
    bool isVerbatim = true;
    std::for_each(reader.attributesBegin(), reader.attributesEnd(), [&](const Reader::Attribute& each) {
        element.attributes.push_back({{each.ns, each.local, each.prefix}, each.value});
        isVerbatim = isVerbatim && each.isVerbatim;
    });
    return isVerbatim;
}

bool isBlank(const std::u16string& text) { return text.find_first_not_of(u" \t\n") == std::u16string::npos; }

/// Hands over the elements as long as the document is plain. @returns whether that was to its end.
bool takePlain(std::string_view document, FlatXmlHandler& handler) {
    Reader reader(document);
    XmlElement element;
    element.attributes.reserve(kUsualAttributes);
    std::u16string text;
    for (Reader::Event event = reader.next(&text); event != Reader::Event::Done; event = reader.next(&text)) {
        if (event == Reader::Event::Odd || !isBlank(text)) {
            return false;
        }
        if (event == Reader::Event::End) {
            handler.endElement({});
        } else if (describe(reader, element)) {
            handler.startElement(element);
        } else {
            return false;
        }
        text.clear();
    }
    return true;
}

/// As above; a fault is for the other parser to find again, which knows its place.
bool takeFaultless(std::string_view document, FlatXmlHandler& handler) {
    try {
        return takePlain(document, handler);
    } catch (const XmlFault&) {
        return false;
    }
}

}  // namespace

void parseFlatXml(const fl::Bytes& bytes, const std::function<std::string()>& where, FlatXmlHandler& handler) {
    const std::string_view document(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (bytes.empty() || bytes[0] != '<' || !takeFaultless(document, handler)) {
        handler.startOver();
        parsePackageXml(bytes, where(), handler);
    }
}

}  // namespace opc::model::detail
