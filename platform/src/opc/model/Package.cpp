// The package that hosts see: a thin handle on the store, which does the work.
#include "opc/model/Package.hpp"

#include "opc/Exception.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/model/PackageStore.hpp"
#include "opc/model/StandardPartInfo.hpp"
#include "opc/relationships/RelationshipRecord.hpp"

#include <utility>

namespace opc::model {
namespace {

/// Deletes relationships and the parts that they lead to. A part that several of them lead to is deleted once, and
/// targets that are no parts are passed over.
/// @param kept  a part that stays even if it is a target, as the source of the relationships may be its own target;
/// null for none.
void deleteWithTargets(Package& package, RelationshipSource& source, const std::u16string& type, const PartName* kept) {
    const std::vector<Relationship> relationships = source.getRelationshipsByType(type);
    source.deleteRelationshipsByType(type);
    for (const Relationship& relationship : relationships) {
        const auto target = detail::internalTarget(relationship);
        if (target && package.hasPart(*target) && !(kept != nullptr && *target == *kept)) {
            package.deletePart(*target);
        }
    }
}

}  // namespace

Package::Package(interfaces::IPhysicalPackage& physicalPackage)
    : RelationshipSource(std::make_shared<detail::PackageStore>(physicalPackage), nullptr) {}

Package::~Package() { store().revert(); }

void Package::open(interfaces::OpenMode mode) {
    interfaces::IPhysicalPackage& physical = store().physical();
    if (store().isOpen()) {
        throw Exception(ErrorKind::Misuse, "the package '" + physical.displayName() + "' is open already");
    }
    // A store of its own for every opening: handles of an earlier one must not reach into this one.
    if (store().isUsed()) {
        setStore(std::make_shared<detail::PackageStore>(physical));
    }
    store().open(mode);
}

void Package::close() { store().close(); }

void Package::revert() noexcept { store().revert(); }

bool Package::hasPart(const PartName& name) const { return store().parts().find(name.folded()) != nullptr; }

Part Package::getPart(const PartName& name) const { return Part(sharedStore(), store().parts().shared(name)); }

std::vector<Part> Package::getParts() const {
    const auto& states = store().parts().all();
    std::vector<Part> parts;
    parts.reserve(states.size());
    for (const auto& [place, state] : states) {
        parts.emplace_back(sharedStore(), state);
    }
    return parts;
}

Part Package::createPart(const PartName& name, const ContentType& contentType,
                         const interfaces::IPhysicalPartInfo& info) {
    return Part(sharedStore(), store().partsToChange().create(name, contentType, info, store().mode()));
}

void Package::deletePart(const PartName& name) { store().partsToChange().remove(name); }

void PackageHelper::deleteRelationshipsAndTargets(Package& package, const std::u16string& type) {
    deleteWithTargets(package, package, type, nullptr);
}

void PackageHelper::deleteRelationshipsAndTargets(Package& package, const Part& source, const std::u16string& type) {
    Part handle = source;
    deleteWithTargets(package, handle, type, &source.getName());
}

StandardPartInfo::StandardPartInfo(interfaces::CompressionType compression, unsigned long sizeHint)
    : compression_(compression), sizeHint_(sizeHint) {}

interfaces::CompressionType StandardPartInfo::getCompressionType() const noexcept { return compression_; }

unsigned long StandardPartInfo::getSizeHint() const noexcept { return sizeHint_; }

}  // namespace opc::model
