#include "opc/pxservices/CorePropertiesManager.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PackageStore.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/model/StoreAccess.hpp"
#include "opc/names/MessageText.hpp"
#include "opc/pxservices/CorePropertiesImpl.hpp"
#include "opc/pxservices/CorePropertiesXml.hpp"

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>

namespace opc::pxservices {
namespace {

using detail::Bytes;
using detail::PropertySet;
using model::Package;
using model::Part;
using model::PartName;

/// A part that the package has one of, or none.
struct SinglePart {
    const char16_t* relationshipType;
    const char16_t* contentType;
    const char16_t* usualName;
};

constexpr SinglePart kCorePart = {
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties",
    u"application/vnd.openxmlformats-package.core-properties+xml", u"/docProps/core.xml"};
constexpr SinglePart kExtensionPart = {u"http://schemas.pellarion.com/package/2013/relationships/properties",
                                       u"application/vnd.pellarion.package.properties+xml", u"/docProps/tarmic.xml"};

[[noreturn]] void fail(const Package& package, const std::string& reason) {
    const auto& store = model::detail::StoreAccess::storeOf(package);
    throw Exception(ErrorKind::Damaged, "package '" + store.physical().displayName() + "': " + reason);
}

/// The name that the package's relationship leads to; nothing when it has no such relationship.
boost::optional<PartName> findName(const Package& package, const SinglePart& wanted) {
    const auto relationships = package.getRelationshipsByType(wanted.relationshipType);
    const std::string relationship = "relationship of the type " + model::detail::shown(wanted.relationshipType);
    if (relationships.size() > 1) {
        fail(package, "there is more than one " + relationship + " (M4.1)");
    }
    if (relationships.empty()) {
        return boost::none;
    }
    if (relationships[0].getTargetMode() == model::TargetMode::External) {
        fail(package, "the " + relationship + " leads outside (M4.1)");
    }
    return PartName(relationships[0].getTargetURI());
}

Part checked(const Package& package, Part part, const SinglePart& wanted) {
    if (part.getContentType() != model::ContentType(wanted.contentType)) {
        fail(package, "the part '" + part.getName().ascii() + "' has not the content type " +
                          model::detail::shown(wanted.contentType) + " (M4.1)");
    }
    return part;
}

using ReadXml = void (&)(const Bytes& xml, const std::string& where, PropertySet& properties);

void readPart(const Package& package, const SinglePart& wanted, ReadXml readXml, PropertySet& properties) {
    const auto name = findName(package, wanted);
    if (name) {
        const Part part = checked(package, package.getPart(*name), wanted);
        const auto& store = model::detail::StoreAccess::storeOf(package);
        readXml(*store.xmlContent(part.getName().folded()), store.where(part.getName().ascii()), properties);
    }
}

/// The part, made with its relationship where one or the other is missing.
Part providePart(Package& package, const SinglePart& wanted, std::size_t size) {
    const auto found = findName(package, wanted);
    const PartName name = found ? *found : PartName(std::u16string(wanted.usualName));
    const auto provide = [&] {
        return package.hasPart(name)
                   ? checked(package, package.getPart(name), wanted)
                   : package.createPart(name, model::ContentType(wanted.contentType),
                                        model::StandardPartInfo(interfaces::CompressionType::Normal, size));
    };
    Part part = provide();
    if (!found) {
        package.createInternalRelationship(wanted.relationshipType, name.getURI(), u"");
    }
    return part;
}

void writePart(Package& package, const SinglePart& wanted, const Bytes& xml) {
    providePart(package, wanted, xml.size()).getOutputStream()->write(xml.data(), xml.size());
}

PropertySet withFixedTimes(PropertySet properties) {
    const boost::posix_time::ptime fixed(boost::gregorian::date(1980, 1, 1));
    for (PropertySet::Time* time : {&properties.created, &properties.lastModified}) {
        if (*time) {
            *time = fixed;
        }
    }
    if (properties.release) {
        properties.release = std::u16string();
    }
    return properties;
}

}  // namespace

CorePropertiesManager::CorePropertiesManager(model::Package& package, DeterministicMode mode)
    : package_(&package), mode_(mode) {}

CoreProperties CorePropertiesManager::getCoreProperties() const {
    CoreProperties properties;
    readPart(*package_, kCorePart, detail::readCoreXml, *properties.impl_);
    readPart(*package_, kExtensionPart, detail::readExtensionXml, *properties.impl_);
    return properties;
}

void CorePropertiesManager::setCoreProperties(const CoreProperties& properties) {
    const PropertySet set =
        mode_ == DeterministicMode::FixedTimes ? withFixedTimes(*properties.impl_) : PropertySet(*properties.impl_);
    const Bytes core = detail::writeCoreXml(set);  // before anything is changed: a value may be refused
    const Bytes extension = detail::writeExtensionXml(set);
    writePart(*package_, kCorePart, core);
    writePart(*package_, kExtensionPart, extension);
}

}  // namespace opc::pxservices
