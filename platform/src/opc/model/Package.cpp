#include "opc/model/Package.hpp"

#include "opc/Exception.hpp"
#include "opc/model/PackageStore.hpp"

#include <utility>

namespace opc::model {
namespace {

PartName nameOf(const detail::PartState& part) { return PartName(std::u16string(part.name.begin(), part.name.end())); }

}  // namespace

Package::Package(interfaces::IPhysicalPackage& physicalPackage)
    : RelationshipSource(std::make_shared<detail::PackageStore>(physicalPackage), std::string()) {}

Package::~Package() { store().revert(); }

void Package::open(interfaces::OpenMode mode) {
    interfaces::IPhysicalPackage& physical = store().physical();
    if (store().isOpen()) {
        throw Exception(ErrorKind::Misuse, "the package '" + physical.displayName() + "' is open already");
    }
    // A store of its own for every opening: handles of an earlier one must not reach into this one.
    auto opened = std::make_shared<detail::PackageStore>(physical);
    opened->open(mode);
    setStore(std::move(opened));
}

void Package::close() { close(CommitOptions()); }

void Package::close(const CommitOptions& options) { store().close(options); }

void Package::revert() noexcept { store().revert(); }

bool Package::hasPart(const PartName& name) const { return store().hasPart(name.folded()); }

Part Package::getPart(const PartName& name) const { return Part(sharedStore(), nameOf(store().part(name.folded()))); }

std::vector<Part> Package::getParts() const {
    const auto states = store().parts();
    std::vector<Part> parts;
    parts.reserve(states.size());
    for (const detail::PartState* state : states) {
        parts.emplace_back(sharedStore(), nameOf(*state));
    }
    return parts;
}

Part Package::createPart(const PartName& name, const ContentType& contentType,
                         const interfaces::IPhysicalPartInfo& info) {
    store().createPart(name, contentType, info);
    return Part(sharedStore(), name);
}

void Package::deletePart(const PartName& name) { store().deletePart(name.folded()); }

}  // namespace opc::model
