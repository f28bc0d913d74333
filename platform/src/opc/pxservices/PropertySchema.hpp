#pragma once

#include <cstddef>

namespace opc::pxservices::detail {

/// An element that a property is kept in. One that has a type is a date and time.
struct PropertyField {
    const char* prefix;  ///< the usual one
    const char* ns;
    const char* local;
    const char* type;      ///< the local name of its xsi:type, in its own namespace; null for none
    const char* property;  ///< what messages call it
};

/// One of the two parts that properties are kept in.
struct PropertySchema {
    const char* ns;
    const char* root;
    const char* emptyDocument;
    const PropertyField* fields;
    std::size_t count;
    std::size_t stamp;  ///< the field that every save sets without being asked
};

constexpr char kSchemaInstance[] = "http://www.w3.org/2001/XMLSchema-instance";
constexpr std::size_t kMostFields = 7;

/// The standard part (ECMA-376-2, 4th edition, clause 11).
enum CoreField : std::size_t { kTitle, kDescription, kVersion, kCategory, kContentType, kCreated, kLastModified };
const PropertySchema& coreSchema();

/// The extension, for what the standard's schema has no element for.
enum ExtensionField : std::size_t { kRelease, kFriendlyName };
const PropertySchema& extensionSchema();

}  // namespace opc::pxservices::detail
