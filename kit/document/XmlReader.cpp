#include "kit/document/XmlReader.hpp"

#include "kit/document/StoredText.hpp"
#include "opc/Exception.hpp"

namespace flowbook::kit {

void readXml(const fl::Bytes& bytes, const std::string& where, XmlEncoding encoding, XmlHandler& handler) {
    try {
        strictxml::read(asText(bytes), {encoding}, handler);
    } catch (const strictxml::Malformed& error) {
        throw opc::Exception(opc::ErrorKind::Damaged, where + ", " + error.what());
    }
}

}  // namespace flowbook::kit
