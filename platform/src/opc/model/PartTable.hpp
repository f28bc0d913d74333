#pragma once

#include "opc/interfaces/IPhysicalPartInfo.hpp"
#include "opc/interfaces/OpenMode.hpp"
#include "opc/model/ContentTypes.hpp"
#include "opc/model/Entries.hpp"
#include "opc/model/NameIndex.hpp"
#include "opc/model/PartState.hpp"
#include "opc/relationships/Numbered.hpp"

#include <bitset>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model::detail {

/// The parts of an open package with their content and content types. Parts are found by their folded names.
class PartTable {
public:
    /// The parts in their order: that of the container's list, new ones last.
    using Parts = Numbered<std::shared_ptr<PartState>>;

    explicit PartTable(const Container& container) : container_(container) {}
    PartTable(const PartTable&) = delete;
    PartTable& operator=(const PartTable&) = delete;

    /// Fills an empty table from the open container. @throws opc::Exception.
    void read();

    const Parts& all() const noexcept { return parts_; }

    /// Above the places of all parts.
    std::size_t placeCount() const noexcept { return nextPlace_; }

    /// Null when there is no such part.
    const PartState* find(std::string_view folded) const noexcept;

    /// For a handle. @throws opc::model::PartNotFound.
    const std::shared_ptr<PartState>& shared(const PartName& name) const;

    /// The state that a handle is to work on: its own, or that of a part which took the place of a deleted one. Only
    /// who may change the package changes it. @throws opc::model::PartNotFound.
    PartState& current(PartState& part) const { return part.isDeleted ? *shared(part.name) : part; }
    const PartState& current(const PartState& part) const { return part.isDeleted ? *shared(part.name) : part; }

    /// The entries of what is in the container under a name but is not listed: a relationships part, or no part.
    /// @param folded  the name.
    Entries otherEntries(std::string_view folded) const;

    const ContentTypes& contentTypes() const noexcept { return contentTypes_; }

    /// For each entry of the container, whether it must not be carried over.
    const std::vector<bool>& dropped() const noexcept { return dropped_; }

    /// Whether anything but relationships was changed.
    bool isChanged() const;

    /// @param mode  what the package is open for. @throws opc::Exception, with nothing changed.
    const std::shared_ptr<PartState>& create(const PartName& name, const ContentType& type,
                                             const interfaces::IPhysicalPartInfo& info, interfaces::OpenMode mode);

    /// @throws opc::model::PartNotFound, std::bad_alloc, with nothing changed.
    void remove(const PartName& name);

    // These take the state of a handle, and throw as current().

    std::uint64_t size(const PartState& part) const;
    std::uint64_t storedSize(const PartState& part) const;

    /// Returns the content that was set and is not yet in the file; null while the content is the container's. An
    /// output stream that is open at the moment shares it.
    std::shared_ptr<const fl::Bytes> pendingContent(const PartState& part) const { return current(part).pending; }
    fl::Bytes storedContent(const PartState& part) const;

    /// Gives the part other content, which the caller fills, and returns what was pending before, null for none.
    std::shared_ptr<fl::Bytes> replaceContent(PartState& part, std::shared_ptr<fl::Bytes> content);

    /// Undoes that, if the part still has the content. Also good when the package is not open any more.
    static void restoreContent(PartState& part, const std::shared_ptr<fl::Bytes>& content,
                               std::shared_ptr<fl::Bytes> former) noexcept;

private:
    void readContentTypes(const std::vector<LogicalEntry>& entries);
    void classify(const std::string& entryName, const Entries& entries);
    void refuseTaken(const PartName& name) const;
    void drop(const Entries& entries) noexcept;
    void dropRelationships(const std::string& foldedName) noexcept;

    const Container& container_;
    ContentTypes contentTypes_;
    std::vector<std::size_t> order_;  ///< of the container's entries; what refers to some views it
    NameIndex index_;
    Parts parts_;
    mutable std::size_t likelyNext_ = 0;  ///< where in parts_ the next one that is asked for likely is
    std::bitset<1024> otherNames_;        ///< by hashes: where there is none, no name of that hash is listed as no part
    std::size_t nextPlace_ = 0;
    std::vector<bool> dropped_;
    bool changed_ = false;
};

}  // namespace opc::model::detail
