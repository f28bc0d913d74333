#pragma once

#include "opc/model/Container.hpp"
#include "opc/model/PartTable.hpp"
#include "opc/model/RelationshipSource.hpp"
#include "opc/model/RelationshipTable.hpp"

#include <memory>
#include <string>

namespace opc::model::detail {

/// Everything that one opening of a package knows; the package, its parts and its relationship sources are
/// handles on it. What gives access throws opc::Exception of kind Misuse when the package is not open, or not for
/// changes.
class PackageStore {
public:
    explicit PackageStore(interfaces::IPhysicalPackage& physical) : container_(physical) {}
    PackageStore(const PackageStore&) = delete;
    PackageStore& operator=(const PackageStore&) = delete;

    bool isOpen() const noexcept { return open_; }

    /// Returns whether open() was called, also when it failed: a store serves one opening.
    bool isUsed() const noexcept { return isUsed_; }
    interfaces::OpenMode mode() const noexcept { return mode_; }
    interfaces::IPhysicalPackage& physical() const noexcept { return container_.physical(); }

    /// Opens the container. May be called once; when it throws, the container is closed.
    void open(interfaces::OpenMode mode);
    void close();
    void revert() noexcept;

    const PartTable& parts() const;
    PartTable& partsToChange();
    /// @param source  the state of a handle; null for the package. @throws as RelationshipTable::of().
    const RelationshipList& relationships(PartState* source);
    RelationshipList& relationshipsToChange(PartState* source);

    /// The content of a part that is package XML and therefore held to the limit for that.
    std::shared_ptr<const fl::Bytes> xmlContent(const PartState& part) const;

    /// Holds package XML to the limit for it, also what is yet to be written: it could not be read again.
    /// @param name  the part's, for the message. @throws opc::Exception of kind LimitExceeded.
    void refuseLargerXml(std::uint64_t size, const std::string& name) const { container_.refuseLargerXml(size, name); }

    /// "package 'x', part '/y'", for messages.
    std::string where(const std::string& partName) const { return container_.where(partName); }

private:
    void requireOpen() const;
    void requireWritable() const;

    Container container_;
    interfaces::OpenMode mode_ = interfaces::OpenMode::ReadOnly;
    bool open_ = false;
    bool isUsed_ = false;
    PartTable parts_{container_};
    RelationshipTable relationships_{container_, parts_};
};

/// Gives the other rooms of this library access to what is behind a handle. The public headers name this class as their
/// only friend, so that hosts see no internals.
class StoreAccess {
public:
    static PackageStore& storeOf(const RelationshipSource& source) noexcept { return source.store(); }

    static const std::shared_ptr<PackageStore>& sharedStoreOf(const RelationshipSource& source) noexcept {
        return source.sharedStore();
    }

    /// Returns the state of a part, which must be one and not the package.
    static const PartState& stateOf(const RelationshipSource& part) noexcept { return *part.partState(); }
};

}  // namespace opc::model::detail
