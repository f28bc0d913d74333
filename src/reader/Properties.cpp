// Reading properties. Each getter reads the properties anew, which costs little, as the manager remembers the part; so
// a faulty property fails its own getter only.
#include "flowbook/FlowbookExceptions.hpp"
#include "format/ThrowInternal.hpp"
#include "reader/FlowbookFileReaderImpl.hpp"

#include <boost/mem_fn.hpp>

namespace flowbook {

using boost::posix_time::ptime;
using opc::pxservices::CoreProperties;

template <class T>
T FlowbookFileReader::FlowbookFileReaderImpl::get_opc_core_property(
    boost::function<boost::optional<T>(CoreProperties*)> getter, const char* propertyName) const {
    CoreProperties properties = corePropertiesManager_->getCoreProperties();
    const boost::optional<T> value = getter(&properties);
    if (!value) {
        detail::throwInternal(FlowbookPropertyNotFound(fileName_, propertyName));
    }
    return *value;
}

std::u16string FlowbookFileReader::FlowbookFileReaderImpl::getTitle() const {
    return get_opc_core_property<std::u16string>(boost::mem_fn(&CoreProperties::getTitle), "Title");
}

std::u16string FlowbookFileReader::FlowbookFileReaderImpl::getDescription() const {
    return get_opc_core_property<std::u16string>(boost::mem_fn(&CoreProperties::getDescription), "Description");
}

std::u16string FlowbookFileReader::FlowbookFileReaderImpl::getVersion() const {
    return get_opc_core_property<std::u16string>(boost::mem_fn(&CoreProperties::getVersion), "Version");
}

std::u16string FlowbookFileReader::FlowbookFileReaderImpl::getTARMICRelease() const {
    return get_opc_core_property<std::u16string>(boost::mem_fn(&CoreProperties::getTARMICRelease), "TARMICRelease");
}

ptime FlowbookFileReader::FlowbookFileReaderImpl::getCreatedTime() const {
    return get_opc_core_property<ptime>(boost::mem_fn(&CoreProperties::getCreatedTime), "Created Time");
}

ptime FlowbookFileReader::FlowbookFileReaderImpl::getLastModifiedTime() const {
    return get_opc_core_property<ptime>(boost::mem_fn(&CoreProperties::getLastModifiedTime), "Last Modified Time");
}

}  // namespace flowbook
