// Properties of one part: values that were set, in front of those that were read. Setting costs nothing until the part
// is written, and the values are checked then.
#include "opc/pxservices/PropertyPart.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/MessageText.hpp"
#include "opc/pxservices/W3cDateTime.hpp"
#include "opc/xml/XmlWriter.hpp"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstring>

namespace opc::pxservices::detail {
namespace {

using boost::posix_time::ptime;

std::string_view trimmed(std::string_view text) {
    constexpr char kSpace[] = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kSpace);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

[[noreturn]] void cannotWrite(const char* property, const char* reason) {
    throw Exception(ErrorKind::Misuse,
                    std::string("the property '") + property + "' cannot be written: its value " + reason);
}

[[noreturn]] void cannotEdit(const std::exception_ptr& refusal) {
    try {
        std::rethrow_exception(refusal);
    } catch (const Exception& error) {
        throw Exception(error.kind(),
                        std::string("properties cannot be set in a part that cannot be read: ") + error.what(),
                        error.part());
    }
}

struct ToXmlText {
    const char* property;

    std::optional<std::string> operator()(const std::monostate&) const { return std::nullopt; }

    std::optional<std::string> operator()(const std::u16string& value) const {
        auto text = model::detail::toXmlText(value);
        if (!text) {
            cannotWrite(property, "holds a character that XML does not permit");
        }
        return text;
    }

    std::optional<std::string> operator()(const ptime& value) const {
        if (value.is_special()) {
            cannotWrite(property, "is no time");
        }
        return formatW3cDateTime(value);
    }
};

std::shared_ptr<const fl::Bytes> emptyDocument(const PropertySchema& schema) {
    return std::make_shared<const fl::Bytes>(schema.emptyDocument,
                                             schema.emptyDocument + std::strlen(schema.emptyDocument));
}

}  // namespace

CoreProperties::Text PropertyPart::text(std::size_t field) const {
    if (const auto* value = std::get_if<std::u16string>(&set_[field])) {
        return *value;
    }
    const PropertyDocument::Element* found = element(field);
    return found == nullptr ? CoreProperties::Text() : fl::i18n::to_ustring(found->text);
}

CoreProperties::Time PropertyPart::time(std::size_t field) const {
    if (const auto* value = std::get_if<ptime>(&set_[field])) {
        return *value;
    }
    const PropertyDocument::Element* found = element(field);
    if (found == nullptr) {
        return boost::none;
    }
    CoreProperties::Time parsed = parseW3cDateTime(trimmed(found->text));
    if (!parsed) {
        fail(*found, field,
             "holds " + model::detail::shown(found->text) + ", which is no date and time of the years 1400 to 9999");
    }
    return parsed;
}

const PropertyDocument::Element* PropertyPart::element(std::size_t field) const {
    if (!source_) {
        return nullptr;
    }
    if (!source_->document) {
        std::rethrow_exception(source_->refusal);
    }
    const PropertyDocument::Element* found = source_->document->element(field);
    if (found != nullptr && found->places.size() > 1) {
        fail(*found, field, "is there " + std::to_string(found->places.size()) + " times");
    }
    if (found != nullptr && !found->isPlain) {
        fail(*found, field, "holds " + model::detail::shown(found->text) + " and other elements, not only text");
    }
    return found;
}

void PropertyPart::fail(const PropertyDocument::Element& element, std::size_t field, const std::string& found) const {
    throw Exception(ErrorKind::Damaged,
                    source_->where + ", line " + std::to_string(source_->document->lineOf(element)) + ": " +
                        model::detail::shown(std::string_view(schema_->fields[field].local)) + " " + found,
                    source_->part);
}

/// A save always sets the stamp (the time of change, the release). That alone must not make it fail on a file whose
/// part cannot be edited, or has no room: such a part is left as it is.
std::optional<fl::Bytes> PropertyPart::written(std::uint64_t limit) const {
    const PropertyDocument::Values texts = values();
    if (source_ && !source_->document && isOnlyStamped()) {
        return std::nullopt;
    }
    fl::Bytes xml = edited(texts);
    const bool hasNoRoom = source_ && xml.size() > limit && isOnlyStamped();
    return hasNoRoom ? std::nullopt : std::optional(std::move(xml));
}

bool PropertyPart::isOnlyStamped() const {
    for (std::size_t field = 0; field != schema_->count; ++field) {
        if (field != schema_->stamp && set_[field].index() != 0) {
            return false;
        }
    }
    return true;
}

PropertyDocument::Values PropertyPart::values() const {
    PropertyDocument::Values texts;
    for (std::size_t field = 0; field != schema_->count; ++field) {
        texts[field] = std::visit(ToXmlText{schema_->fields[field].property}, set_[field]);
    }
    return texts;
}

fl::Bytes PropertyPart::edited(const PropertyDocument::Values& values) const {
    if (!source_) {
        return PropertyDocument(emptyDocument(*schema_), "a new part", *schema_).with(values);
    }
    if (!source_->document) {
        cannotEdit(source_->refusal);
    }
    return source_->document->with(values);
}

}  // namespace opc::pxservices::detail
