#pragma once

#include "fl/Bytes.hpp"
#include "opc/pxservices/PropertySchema.hpp"
#include "opc/xml/PackageXml.hpp"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace opc::pxservices::detail {

/// The XML of a part of properties as it stands in its file, and where in it the elements are that properties are
/// kept in. Everything else is not looked into, and an edit keeps it byte for byte.
class PropertyDocument {
public:
    /// The elements of one name, of which there should be one.
    struct Element {
        std::vector<model::detail::XmlRange> places;
        std::string text;     ///< of the first
        bool isPlain = true;  ///< the first holds nothing but text
    };
    using Values = std::array<std::optional<std::string>, kMostFields>;

    /// @param where  the file and the part, for messages. @throws opc::Exception when this is not XML that a package
    ///               may hold, or has another root; std::bad_alloc.
    PropertyDocument(std::shared_ptr<const fl::Bytes> xml, const std::string& where, const PropertySchema& schema);

    /// Returns the elements of a field; null when the document has none.
    const Element* element(std::size_t field) const;

    /// Returns the line on which the first of the elements begins, counted from 1.
    std::size_t lineOf(const Element& element) const;

    /// The document with the elements of the given values in place of those that it has; new ones come last.
    fl::Bytes with(const Values& values) const;

private:
    class Handler;
    struct Edit {
        model::detail::XmlRange place;
        std::string text;
    };

    std::string elementXml(const PropertyField& field, const std::string& value) const;
    Edit appending(const std::string& elements) const;
    fl::Bytes edited(std::vector<Edit> edits) const;

    std::shared_ptr<const fl::Bytes> xml_;  ///< UTF-8
    const PropertySchema& schema_;
    std::array<Element, kMostFields> elements_;
    std::map<std::string, std::string> prefixes_;  ///< of the root, by namespace; of those that elements here need
    std::string rootName_;                         ///< as written
    model::detail::XmlRange rootStart_;
    model::detail::XmlRange rootEnd_;
};

}  // namespace opc::pxservices::detail
