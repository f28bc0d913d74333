#pragma once

#include "opc/Exception.hpp"
#include "opc/pxservices/CoreProperties.hpp"
#include "opc/pxservices/PropertyDocument.hpp"

#include <array>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace opc::pxservices::detail {

/// What was found in a part of properties: a document, or the reason why it cannot be read as one.
struct PropertySource {
    std::string part;
    std::string where;  ///< the file and the part, for messages
    std::optional<PropertyDocument> document;
    std::exception_ptr refusal;
};

/// The properties of one part: those that were read, and in their place those that were set since.
class PropertyPart {
public:
    explicit PropertyPart(const PropertySchema& schema) : schema_(&schema) {}

    /// @param source  null when the package has no such part.
    void read(std::shared_ptr<const PropertySource> source) { source_ = std::move(source); }

    /// @throws opc::Exception when the property's element is faulty, or the part is none that can be read.
    CoreProperties::Text text(std::size_t field) const;
    CoreProperties::Time time(std::size_t field) const;

    void set(std::size_t field, const std::u16string& value) { set_[field] = value; }
    void set(std::size_t field, const boost::posix_time::ptime& value) { set_[field] = value; }

    /// The XML of the part; nothing when it is to stay as it is: it cannot be read, or has no room within the limit,
    /// and only the stamp was set. @throws opc::Exception naming the property that cannot be written.
    std::optional<fl::Bytes> written(std::uint64_t limit) const;

private:
    using Value = std::variant<std::monostate, std::u16string, boost::posix_time::ptime>;

    const PropertyDocument::Element* element(std::size_t field) const;
    [[noreturn]] void fail(const PropertyDocument::Element& element, std::size_t field, const std::string& found) const;
    bool isOnlyStamped() const;
    PropertyDocument::Values values() const;
    fl::Bytes edited(const PropertyDocument::Values& values) const;

    const PropertySchema* schema_;
    std::shared_ptr<const PropertySource> source_;
    std::array<Value, kMostFields> set_;
};

}  // namespace opc::pxservices::detail

namespace opc::pxservices {

class PXPLATFORM_LOCAL CoreProperties::Impl {
public:
    detail::PropertyPart core{detail::coreSchema()};
    detail::PropertyPart extension{detail::extensionSchema()};
};

}  // namespace opc::pxservices
