#pragma once

#include "opc/model/PartTable.hpp"
#include "opc/model/RelationshipList.hpp"

#include <string>
#include <string_view>

namespace opc::model::detail {

/// The relationships of an open package and of its parts, each list read when it is first asked for. Sources are found
/// by their folded names, the package by the empty name. All functions throw opc::model::PartNotFound when there is no
/// such source, opc::Exception when its relationships part is malformed.
class RelationshipTable {
public:
    RelationshipTable(const Container& container, PartTable& parts) : container_(container), parts_(parts) {}
    RelationshipTable(const RelationshipTable&) = delete;
    RelationshipTable& operator=(const RelationshipTable&) = delete;

    const RelationshipList& of(std::string_view source) { return *load(source).list; }

    /// As they are; the package's list has been read once it is open.
    const SourceState& ofPackage() const noexcept { return package_; }

    bool isChanged() const;

    /// @param record  with an empty id for one to be chosen. @throws opc::Exception, std::bad_alloc, with nothing
    ///                changed.
    RelationshipList::RecordPtr add(std::string_view source, RelationshipRecord record);

    /// @throws opc::Exception of kind NotFound.
    void remove(std::string_view source, const std::u16string& id);
    void remove(std::string_view source, const RelationshipRecord& record);

    void removeByType(std::string_view source, const std::u16string& type);

private:
    SourceState& load(std::string_view source);
    SourceState& loaded(SourceState& state, std::string_view sourceName) const;
    std::unique_ptr<RelationshipList> read(std::string_view sourceName) const;
    std::string_view nameOf(std::string_view source) const;
    void noteRemoval(bool removed, std::string_view source, const std::u16string& id);

    const Container& container_;
    PartTable& parts_;
    SourceState package_;
};

}  // namespace opc::model::detail
