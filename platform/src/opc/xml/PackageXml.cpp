// Gives failures of the strict reader the package's exceptions, with the file and the part in front.
#include "opc/xml/PackageXml.hpp"

#include "opc/model/InvalidXMLDocument.hpp"

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

}  // namespace opc::model::detail
