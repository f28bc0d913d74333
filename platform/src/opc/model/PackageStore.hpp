#pragma once

#include "opc/CommitOptions.hpp"
#include "opc/interfaces/IPhysicalPackage.hpp"
#include "opc/interfaces/IPhysicalPartInfo.hpp"
#include "opc/model/ContentTypes.hpp"
#include "opc/model/LogicalEntries.hpp"
#include "opc/model/NameTree.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/PartState.hpp"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace opc::model::detail {

/// Everything that one opening of a package knows; the package, its parts and its relationship sources are
/// handles on it. Parts are found by their folded names, sources likewise, the package by the empty
/// name. All functions throw opc::Exception of kind Misuse when the package is not open.
class PackageStore {
public:
    using Bytes = PartState::Bytes;

    explicit PackageStore(interfaces::IPhysicalPackage& physical)
        : physical_(&physical), physicalName_(physical.displayName()) {}
    PackageStore(const PackageStore&) = delete;
    PackageStore& operator=(const PackageStore&) = delete;

    bool isOpen() const noexcept { return open_; }
    interfaces::IPhysicalPackage& physical() const noexcept { return *physical_; }

    /// At most once. When it throws, the container has been let go of.
    void open(interfaces::OpenMode mode);
    void close(const CommitOptions& options);
    void revert() noexcept;

    bool hasPart(const std::string& name) const;
    const PartState& part(const std::string& name) const;
    std::vector<const PartState*> parts() const;
    void createPart(const PartName& name, const ContentType& type, const interfaces::IPhysicalPartInfo& info);
    void deletePart(const std::string& name);

    std::uint64_t size(const std::string& name) const;
    std::uint64_t storedSize(const std::string& name) const;

    /// The bytes are shared with whoever writes the part at the moment.
    std::shared_ptr<const Bytes> content(const std::string& name) const;

    /// As above, for a part that is package XML and therefore held to the limit for that.
    std::shared_ptr<const Bytes> xmlContent(const std::string& name) const;

    /// Holds package XML to the limit for it, also what is yet to be written: it could not be read again.
    /// @param name  the part's, for the message. @throws opc::Exception of kind LimitExceeded.
    void refuseLargerXml(std::uint64_t size, const std::string& name) const;

    /// Gives the part new, empty content for the caller to fill.
    std::shared_ptr<Bytes> replaceContent(const std::string& name);

    const RelationshipList& relationships(const std::string& source);
    RelationshipList::RecordPtr addRelationship(const std::string& source, RelationshipRecord record);
    void removeRelationship(const std::string& source, const std::u16string& id);
    void removeRelationshipsByType(const std::string& source, const std::u16string& type);

    /// "package 'x', part '/y'", for messages.
    std::string where(const std::string& partName) const;

private:
    friend class CommitPlan;  // which needs to see all of the state, and changes none but the content types
    using Entries = std::vector<std::size_t>;

    void readIndex();
    void readContentTypes(const std::vector<LogicalEntry>& entries);
    void sortIn(LogicalEntry entry);
    void addPart(std::string folded, PartState part);

    void requireOpen() const;
    void requireWritable() const;
    const ContentType* assignType(const PartName& name, const ContentType& type);
    /// Also takes the name into the tree of names.
    void takeName(const PartName& name, const std::string& folded);
    PartState& writablePart(const std::string& name);

    SourceState& sourceState(const std::string& source);
    std::string nameOfSource(const std::string& source) const;
    std::unique_ptr<RelationshipList> newRelationships(const std::string& sourceName) const;
    RelationshipList& loadRelationships(SourceState& state, const std::string& sourceName);
    void dropRelationshipsPart(const std::string& sourceName);

    Bytes read(const Entries& entries, const std::string& name) const;
    Bytes readXml(const Entries& entries, const std::string& name) const;
    void refuseLarger(std::uint64_t size, std::uint64_t limit, const char* limitName, const std::string& name) const;
    std::uint64_t total(const Entries& entries, std::uint64_t interfaces::PhysicalEntry::*member) const;
    void drop(const Entries& entries);
    bool isChanged() const;

    interfaces::IPhysicalPackage* physical_;
    std::string physicalName_;  ///< a copy, as handles may outlive the container
    interfaces::OpenMode mode_ = interfaces::OpenMode::ReadOnly;
    bool open_ = false;
    bool partsChanged_ = false;

    ContentTypes contentTypes_;
    std::vector<std::unique_ptr<PartState>> parts_;               ///< in their order; null where one was deleted
    std::unordered_map<std::string, std::size_t> partPositions_;  ///< by folded name
    std::unordered_map<std::string, Entries> others_;  ///< by folded name: what is in the container but no part
    std::vector<bool> dropped_;                        ///< by entry: not to be carried over
    NameTree names_;
    SourceState packageRelationships_;
};

/// Whether a folded name is one that relationships parts have.
bool isRelationshipsName(const std::string& folded);

/// The name of the relationships part of a source, which is a part's name, or "/" for the package.
std::string relationshipsNameOf(const std::string& sourceName);

}  // namespace opc::model::detail
