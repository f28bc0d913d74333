// Reads and writes the two parts of properties. A part that cannot be read must not keep a caller from other work with
// the package: the failure is kept with the part and thrown by the getters that need it.
#include "opc/pxservices/CorePropertiesManager.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/model/PackageStore.hpp"
#include "opc/pxservices/PropertyPart.hpp"
#include "opc/pxservices/PropertyPlace.hpp"

namespace opc::pxservices {
namespace {

using detail::PropertyPart;
using detail::PropertyPlace;
using detail::PropertySchema;
using detail::PropertySource;
using model::Package;
using model::Part;
using model::detail::PackageStore;
using model::detail::StoreAccess;
using SourcePtr = std::shared_ptr<const PropertySource>;

/// Whether a failure is the fault of the part. Such a failure is thrown by the getters of its properties; any other,
/// such as a lack of memory, at once.
bool blamesPart(ErrorKind kind) { return kind == ErrorKind::Damaged || kind == ErrorKind::LimitExceeded; }

SourcePtr readSource(const PackageStore& store, const Part& part, const PropertySchema& schema) {
    auto source = std::make_shared<PropertySource>();
    source->part = part.getName().ascii();
    source->where = store.where(source->part);
    try {
        inPart(source->part,
               [&] { source->document.emplace(store.xmlContent(StoreAccess::stateOf(part)), source->where, schema); });
    } catch (const Exception& error) {
        if (!blamesPart(error.kind())) {
            throw;
        }
        source->refusal = std::current_exception();
    }
    return source;
}

/// Remembers what was read last, as callers ask for one property after the other. It holds as long as the part is not
/// written: the same entries of one opening of a package have the same content.
class Remembered {
public:
    SourcePtr read(const Package& package, const PropertyPlace& place, const PropertySchema& schema) {
        const auto part = findPart(package, place);
        if (!part) {
            return nullptr;
        }
        const auto store = StoreAccess::sharedStoreOf(package);
        const auto& state = StoreAccess::stateOf(*part);
        if (state.pending) {
            return readSource(*store, *part, schema);
        }
        if (store != store_.lock() || state.entries != entries_) {
            source_ = readSource(*store, *part, schema);
            entries_ = state.entries;
            store_ = store;
        }
        return source_;
    }

private:
    std::weak_ptr<PackageStore> store_;
    model::detail::Entries entries_;
    SourcePtr source_;
};

/// Returns the new XML of a part; none when the part is to stay as it is.
std::optional<fl::Bytes> writtenXml(const Package& package, const PropertyPart& part, const PropertyPlace& place) {
    const PackageStore& store = StoreAccess::storeOf(package);
    auto xml = part.written(store.physical().limits().maxPackageXmlSize);
    if (xml) {
        const auto present = findPart(package, place);
        store.refuseLargerXml(xml->size(),
                              present ? present->getName().ascii() : fl::i18n::to_string(place.folder + place.name));
    }
    return xml;
}

void put(Package& package, const PropertyPlace& place, const std::optional<fl::Bytes>& xml) {
    if (xml) {
        putPart(package, place, *xml);
    }
}

}  // namespace

class PXPLATFORM_LOCAL CorePropertiesManager::Memory {
public:
    Remembered core;
    Remembered extension;
};

CorePropertiesManager::CorePropertiesManager(model::Package& package, DeterministicMode)
    : package_(&package), memory_(std::make_shared<Memory>()) {}

CoreProperties CorePropertiesManager::getCoreProperties() const {
    CoreProperties properties;
    properties.impl_->core.read(memory_->core.read(*package_, detail::corePlace(), detail::coreSchema()));
    properties.impl_->extension.read(
        memory_->extension.read(*package_, detail::extensionPlace(), detail::extensionSchema()));
    return properties;
}

void CorePropertiesManager::setCoreProperties(const CoreProperties& properties) {
    // Both parts are written out before either is changed, as a value may be refused.
    const auto core = writtenXml(*package_, properties.impl_->core, detail::corePlace());
    const auto extension = writtenXml(*package_, properties.impl_->extension, detail::extensionPlace());
    put(*package_, detail::corePlace(), core);
    put(*package_, detail::extensionPlace(), extension);
}

}  // namespace opc::pxservices
