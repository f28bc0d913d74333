#include "opc/pxservices/CoreProperties.hpp"

#include "opc/pxservices/CorePropertiesImpl.hpp"

#include <boost/date_time/posix_time/posix_time_types.hpp>

namespace opc::pxservices {

CoreProperties::CoreProperties() : impl_(std::make_unique<Impl>()) {}

CoreProperties::CoreProperties(const CoreProperties& other) : impl_(std::make_unique<Impl>(*other.impl_)) {}

CoreProperties::CoreProperties(CoreProperties&& other) noexcept = default;

CoreProperties& CoreProperties::operator=(const CoreProperties& other) { return *this = CoreProperties(other); }

CoreProperties& CoreProperties::operator=(CoreProperties&& other) noexcept = default;

CoreProperties::~CoreProperties() = default;

boost::posix_time::ptime CoreProperties::getCurrentTime() { return boost::posix_time::second_clock::universal_time(); }

foundation::release_info::ReleaseInfo CoreProperties::getCurrentTARMICReleaseInfo() {
    return foundation::release_info::ReleaseInfo::current();
}

CoreProperties::Text CoreProperties::getTitle() const { return impl_->title; }

CoreProperties::Text CoreProperties::getDescription() const { return impl_->description; }

CoreProperties::Text CoreProperties::getVersion() const { return impl_->version; }

CoreProperties::Text CoreProperties::getCategory() const { return impl_->category; }

CoreProperties::Text CoreProperties::getContentType() const { return impl_->contentType; }

CoreProperties::Text CoreProperties::getContentTypeFriendlyName() const { return impl_->contentTypeFriendlyName; }

CoreProperties::Time CoreProperties::getCreatedTime() const { return impl_->created; }

CoreProperties::Time CoreProperties::getLastModifiedTime() const { return impl_->lastModified; }

std::u16string CoreProperties::getTARMICRelease() const { return impl_->release.value_or(std::u16string()); }

void CoreProperties::setTitle(const std::u16string& value) { impl_->title = value; }

void CoreProperties::setDescription(const std::u16string& value) { impl_->description = value; }

void CoreProperties::setVersion(const std::u16string& value) { impl_->version = value; }

void CoreProperties::setCategory(const std::u16string& value) { impl_->category = value; }

void CoreProperties::setContentType(const std::u16string& value) { impl_->contentType = value; }

void CoreProperties::setContentTypeFriendlyName(const std::u16string& value) { impl_->contentTypeFriendlyName = value; }

void CoreProperties::setCreatedTime(const boost::posix_time::ptime& value) { impl_->created = value; }

void CoreProperties::setLastModifiedTime(const boost::posix_time::ptime& value) { impl_->lastModified = value; }

void CoreProperties::setTARMICReleaseInfo(const foundation::release_info::ReleaseInfo& value) {
    impl_->release = value.getName();
}

}  // namespace opc::pxservices
