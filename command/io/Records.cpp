#include "io/Records.hpp"

#include "fl/i18n/Conversion.hpp"

namespace flowbook::tool {

std::string typeOf(const opc::model::Part& part) { return fl::i18n::to_string(part.getContentType().toString()); }

void writeProperties(Json& json, const std::vector<kit::Property>& properties) {
    json.key("properties").openObject();
    for (const kit::Property& property : properties) {
        json.optionalField(property.label, property.value);
    }
    json.closeObject();
}

void writeParts(Json& json, const std::vector<opc::model::Part>& parts) {
    json.key("parts").openArray();
    for (const opc::model::Part& part : parts) {
        json.openObject().field("name", part.getName().ascii()).field("contentType", typeOf(part));
        json.count("size", part.getSize()).count("storedSize", part.getStoredSize()).closeObject();
    }
    json.closeArray();
}

}  // namespace flowbook::tool
