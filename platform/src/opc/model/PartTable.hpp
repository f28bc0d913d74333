#pragma once

#include "opc/interfaces/IPhysicalPartInfo.hpp"
#include "opc/interfaces/OpenMode.hpp"
#include "opc/model/ContentTypes.hpp"
#include "opc/model/LogicalEntries.hpp"
#include "opc/model/NameIndex.hpp"
#include "opc/model/PartState.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model::detail {

/// The parts of an open package with their content and content types. Parts are found by their folded names.
class PartTable {
public:
    /// The parts in their order: that of the container's list, new ones last.
    using Parts = std::map<std::size_t, PartState>;

    explicit PartTable(const Container& container) : container_(container) {}
    PartTable(const PartTable&) = delete;
    PartTable& operator=(const PartTable&) = delete;

    /// Fills an empty table from the open container. @throws opc::Exception.
    void read();

    const Parts& all() const noexcept { return parts_; }

    /// Null when there is no such part.
    const PartState* find(std::string_view folded) const noexcept;

    /// @throws opc::model::PartNotFound.
    const PartState& get(std::string_view folded) const { return *found(folded); }
    PartState& get(std::string_view folded) { return *found(folded); }

    /// The entries of what is in the container under a name but is not listed: a relationships part, or no part.
    Entries otherEntries(std::string_view name) const;

    const ContentTypes& contentTypes() const noexcept { return contentTypes_; }

    /// By entry: not to be carried over.
    const std::vector<bool>& dropped() const noexcept { return dropped_; }

    /// Whether anything but relationships was changed.
    bool isChanged() const;

    /// @param mode  what the package is open for. @throws opc::Exception, with nothing changed.
    void create(const PartName& name, const ContentType& type, const interfaces::IPhysicalPartInfo& info,
                interfaces::OpenMode mode);

    /// @throws opc::model::PartNotFound, std::bad_alloc, with nothing changed.
    void remove(std::string_view folded);

    std::uint64_t size(std::string_view folded) const;
    std::uint64_t storedSize(std::string_view folded) const;

    /// Null while the content is the container's. Shared with whoever writes the part at the moment.
    std::shared_ptr<const fl::Bytes> pendingContent(std::string_view folded) const { return get(folded).pending; }
    fl::Bytes storedContent(std::string_view folded) const;

    /// Gives the part other content, which the caller fills, and returns what was pending before, null for none.
    std::shared_ptr<fl::Bytes> replaceContent(std::string_view folded, std::shared_ptr<fl::Bytes> content);

    /// Undoes that, if the part still has the content.
    void restoreContent(std::string_view folded, const std::shared_ptr<fl::Bytes>& content,
                        std::shared_ptr<fl::Bytes> former) noexcept;

private:
    PartState* found(std::string_view folded) const;
    void readContentTypes(const std::vector<LogicalEntry>& entries);
    void sortIn(const std::string& entryName, const Entries& entries);
    void refuseTaken(const PartName& name) const;
    void drop(const Entries& entries) noexcept;
    void dropRelationships(const std::string& foldedName) noexcept;

    const Container& container_;
    ContentTypes contentTypes_;
    std::vector<std::size_t> order_;  ///< of the container's entries; what refers to some views it
    NameIndex index_;
    Parts parts_;
    std::size_t nextPlace_ = 0;
    std::vector<bool> dropped_;
    bool changed_ = false;
};

}  // namespace opc::model::detail
