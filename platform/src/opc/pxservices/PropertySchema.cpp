// The elements that properties are kept in: their names, types and the names that messages give them.
#include "opc/pxservices/PropertySchema.hpp"

#include <iterator>

namespace opc::pxservices::detail {
namespace {

constexpr char kCore[] = "http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
constexpr char kDublinCore[] = "http://purl.org/dc/elements/1.1/";
constexpr char kTerms[] = "http://purl.org/dc/terms/";
constexpr char kExtension[] = "http://schemas.pellarion.com/package/2013/properties";
constexpr char kDateType[] = "W3CDTF";

constexpr char kEmptyCore[] =
    R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?><cp:coreProperties)"
    R"( xmlns:cp="http://schemas.openxmlformats.org/package/2006/metadata/core-properties")"
    R"( xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:dcterms="http://purl.org/dc/terms/")"
    R"( xmlns:dcmitype="http://purl.org/dc/dcmitype/" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"/>)";
constexpr char kEmptyExtension[] = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?><px:properties)"
                                   R"( xmlns:px="http://schemas.pellarion.com/package/2013/properties"/>)";

constexpr PropertyField kCoreFields[] = {
    {"dc", kDublinCore, "title", nullptr, "title"},
    {"dc", kDublinCore, "description", nullptr, "description"},
    {"cp", kCore, "version", nullptr, "version"},
    {"cp", kCore, "category", nullptr, "category"},
    {"cp", kCore, "contentType", nullptr, "content type"},
    {"dcterms", kTerms, "created", kDateType, "created time"},
    {"dcterms", kTerms, "modified", kDateType, "last modified time"},
};
constexpr PropertyField kExtensionFields[] = {
    {"px", kExtension, "release", nullptr, "TARMIC release"},
    {"px", kExtension, "contentTypeFriendlyName", nullptr, "content type friendly name"},
};

static_assert(std::size(kCoreFields) <= kMostFields && std::size(kExtensionFields) <= kMostFields);

}  // namespace

const PropertySchema& coreSchema() {
    static constexpr PropertySchema schema = {kCore,       "coreProperties",       kEmptyCore,
                                              kCoreFields, std::size(kCoreFields), kLastModified};
    return schema;
}

const PropertySchema& extensionSchema() {
    static constexpr PropertySchema schema = {
        kExtension, "properties", kEmptyExtension, kExtensionFields, std::size(kExtensionFields), kRelease};
    return schema;
}

}  // namespace opc::pxservices::detail
