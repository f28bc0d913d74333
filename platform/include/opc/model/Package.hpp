#pragma once

#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/interfaces/IPhysicalPartInfo.hpp"
#include "opc/model/Part.hpp"
#include "opc/model/RelationshipSource.hpp"

namespace opc::model {

/// A package of parts and relationships (ECMA-376-2) over a physical container, which must outlive
/// it. Opening reads the container's index, the content types and the package's relationships; all
/// else is read when it is asked for. Changes are kept in memory until close() commits them; a
/// package that is destroyed without close() leaves the file as it is. One object, with the parts
/// and relationships got from it, is used by one thread at a time. A call that changes the package has
/// been done when it returns, and has changed nothing when it throws.
class PXPLATFORM_EXPORT Package : public RelationshipSource {
public:
    explicit Package(interfaces::IPhysicalPackage& physicalPackage);
    ~Package();
    Package(const Package&) = delete;
    Package& operator=(const Package&) = delete;

    /// @throws opc::model::PackageNotFound, opc::Exception; the package is not open then.
    void open(interfaces::OpenMode mode);

    /// Commits the changes, if there are any, and closes the file. Every entry that was not changed
    /// is carried over as it is stored, entries that are no parts included. When it throws, the file
    /// is as it was (unless the kind is NotDurable), and the package is still open with its changes,
    /// to be reverted or tried again.
    void close();

    /// Discards the changes and closes the file. It never fails.
    void revert() noexcept;

    bool hasPart(const PartName& name) const;

    /// @throws opc::model::PartNotFound.
    Part getPart(const PartName& name) const;

    /// All parts but relationships parts, in the order of the container's index, new ones last.
    std::vector<Part> getParts() const;

    /// A new, empty part. @throws opc::Exception when an equivalent name is taken, or the name derives
    ///         from a part's name or a part's name from it (M1.11), or it is a relationships part's, or
    ///         longer than the limit.
    Part createPart(const PartName& name, const ContentType& contentType, const interfaces::IPhysicalPartInfo& info);

    /// Deletes a part with its own relationships; relationships to it stay as they are.
    /// @throws opc::model::PartNotFound.
    void deletePart(const PartName& name);
};

}  // namespace opc::model
