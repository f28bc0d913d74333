// Gives failures of the strict reader the package's exceptions, with the file and the part in front.
#include "opc/xml/PackageXml.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/model/InvalidXMLDocument.hpp"
#include "plainxml/Reader.hpp"

#include <algorithm>

namespace opc::model::detail {

void parsePackageXml(const fl::Bytes& bytes, const std::string& where, PackageXmlHandler& handler) {
    try {
        strictxml::read({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, {}, handler);
    } catch (const strictxml::Malformed& error) {
        const std::string message = where + ", " + error.what();
        if (error.isByHandler()) {
            throw Exception(ErrorKind::Damaged, message);
        }
        throw InvalidXMLDocument(message);
    }
}

namespace {

void takeTag(const plainxml::Reader& reader, plainxml::Reader::Event event, PackageXmlHandler& handler) {
    const XmlRange tag{reader.tagBegin(), reader.tagEnd()};
    if (event == plainxml::Reader::Event::End) {
        handler.endElement({}, tag);
        return;
    }
    std::for_each(reader.bindingsBegin(), reader.bindingsEnd(),
                  [&](const plainxml::Reader::Binding& each) { handler.startNamespace(each.prefix, each.ns); });
    handler.startElement({{reader.ns(), reader.local(), reader.prefix()}, {}, tag});
}

}  // namespace

bool takePlainXml(const fl::Bytes& bytes, PackageXmlHandler& handler) {
    if (bytes.empty() || bytes[0] != '<') {
        return false;
    }
    plainxml::Reader reader({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    std::u16string text;
    try {
        for (auto event = reader.next(&text); event != plainxml::Reader::Event::Done; event = reader.next(&text)) {
            if (event == plainxml::Reader::Event::Odd) {
                return false;
            }
            handler.characters(fl::i18n::ustring_to_utf8(text));
            text.clear();
            takeTag(reader, event, handler);
        }
        return true;
    } catch (const XmlFault&) {
        return false;
    }
}

}  // namespace opc::model::detail
