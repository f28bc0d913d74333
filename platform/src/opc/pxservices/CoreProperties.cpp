// The properties as hosts see them, each a field of one of two parts: the standard's core properties, and an extension
// for those that the standard's schema has no element for.
#include "opc/pxservices/CoreProperties.hpp"

#include "opc/Exception.hpp"
#include "opc/pxservices/PropertyPart.hpp"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace opc::pxservices {

namespace {

/// Returns the time that SOURCE_DATE_EPOCH fixes for reproducible output, and none where it is unset or empty. The year
/// of a W3CDTF date has four digits, which is why there is a last time.
std::optional<std::int64_t> fixedTime() {
    constexpr std::int64_t kEndOfYear9999 = 253402300799;
    const char* value = std::getenv("SOURCE_DATE_EPOCH");
    const std::string_view text = value == nullptr ? "" : value;
    if (text.empty()) {
        return std::nullopt;
    }
    std::int64_t seconds = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    if (!isNumber || seconds < 0 || seconds > kEndOfYear9999) {
        throw Exception(ErrorKind::Misuse, "cannot find out the time: SOURCE_DATE_EPOCH is \"" + std::string(text) +
                                               "\", which is no number of seconds from 0 to 253402300799");
    }
    return seconds;
}

}  // namespace

CoreProperties::CoreProperties() : impl_(std::make_unique<Impl>()) {}

CoreProperties::CoreProperties(const CoreProperties& other) : impl_(std::make_unique<Impl>(*other.impl_)) {}

CoreProperties::CoreProperties(CoreProperties&& other) noexcept = default;

CoreProperties& CoreProperties::operator=(const CoreProperties& other) { return *this = CoreProperties(other); }

CoreProperties& CoreProperties::operator=(CoreProperties&& other) noexcept = default;

CoreProperties::~CoreProperties() = default;

boost::posix_time::ptime CoreProperties::getCurrentTime() {
    const std::optional<std::int64_t> fixed = fixedTime();
    return fixed ? boost::posix_time::ptime(boost::gregorian::date(1970, 1, 1), boost::posix_time::seconds(*fixed))
                 : boost::posix_time::second_clock::universal_time();
}

foundation::release_info::ReleaseInfo CoreProperties::getCurrentTARMICReleaseInfo() {
    return foundation::release_info::ReleaseInfo::current();
}

CoreProperties::Text CoreProperties::getTitle() const { return impl_->core.text(detail::kTitle); }

CoreProperties::Text CoreProperties::getDescription() const { return impl_->core.text(detail::kDescription); }

CoreProperties::Text CoreProperties::getVersion() const { return impl_->core.text(detail::kVersion); }

CoreProperties::Text CoreProperties::getCategory() const { return impl_->core.text(detail::kCategory); }

CoreProperties::Text CoreProperties::getContentType() const { return impl_->core.text(detail::kContentType); }

CoreProperties::Text CoreProperties::getContentTypeFriendlyName() const {
    return impl_->extension.text(detail::kFriendlyName);
}

CoreProperties::Time CoreProperties::getCreatedTime() const { return impl_->core.time(detail::kCreated); }

CoreProperties::Time CoreProperties::getLastModifiedTime() const { return impl_->core.time(detail::kLastModified); }

std::u16string CoreProperties::getTARMICRelease() const {
    return impl_->extension.text(detail::kRelease).value_or(std::u16string());
}

void CoreProperties::setTitle(const std::u16string& value) { impl_->core.set(detail::kTitle, value); }

void CoreProperties::setDescription(const std::u16string& value) { impl_->core.set(detail::kDescription, value); }

void CoreProperties::setVersion(const std::u16string& value) { impl_->core.set(detail::kVersion, value); }

void CoreProperties::setCategory(const std::u16string& value) { impl_->core.set(detail::kCategory, value); }

void CoreProperties::setContentType(const std::u16string& value) { impl_->core.set(detail::kContentType, value); }

void CoreProperties::setContentTypeFriendlyName(const std::u16string& value) {
    impl_->extension.set(detail::kFriendlyName, value);
}

void CoreProperties::setCreatedTime(const boost::posix_time::ptime& value) { impl_->core.set(detail::kCreated, value); }

void CoreProperties::setLastModifiedTime(const boost::posix_time::ptime& value) {
    impl_->core.set(detail::kLastModified, value);
}

void CoreProperties::setTARMICReleaseInfo(const foundation::release_info::ReleaseInfo& value) {
    impl_->extension.set(detail::kRelease, value.getName());
}

}  // namespace opc::pxservices
