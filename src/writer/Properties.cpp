// Setting properties. They are collected until the file is closed, and written on top of those that the file has by
// then.
#include "writer/FlowbookFileWriterImpl.hpp"

namespace flowbook {

using opc::pxservices::CoreProperties;

void FlowbookFileWriter::FlowbookFileWriterImpl::setTitle(const std::u16string& title) {
    overridableProperties_.title = title;
}

void FlowbookFileWriter::FlowbookFileWriterImpl::setDescription(const std::u16string& description) {
    overridableProperties_.description = description;
}

void FlowbookFileWriter::FlowbookFileWriterImpl::setVersion(const std::u16string& version) {
    overridableProperties_.version = version;
}

/// Every save sets the release and the time of the last change. Content type and creation time are given to new files
/// only, and properties that the caller did not set stay as they are.
void FlowbookFileWriter::FlowbookFileWriterImpl::writeProperties() {
    CoreProperties properties;
    if (fileExisted_) {
        properties = corePropertiesManager_->getCoreProperties();
    } else {
        properties.setContentType(coreContentType_);
        properties.setContentTypeFriendlyName(coreContentTypeFriendlyName_);
        properties.setCreatedTime(CoreProperties::getCurrentTime());
    }
    properties.setTARMICReleaseInfo(CoreProperties::getCurrentTARMICReleaseInfo());
    properties.setLastModifiedTime(CoreProperties::getCurrentTime());
    if (overridableProperties_.title) {
        properties.setTitle(*overridableProperties_.title);
    }
    if (overridableProperties_.description) {
        properties.setDescription(*overridableProperties_.description);
    }
    if (overridableProperties_.category) {
        properties.setCategory(*overridableProperties_.category);
    }
    if (overridableProperties_.version) {
        properties.setVersion(*overridableProperties_.version);
    }
    corePropertiesManager_->setCoreProperties(properties);
}

}  // namespace flowbook
