#pragma once

#include "opc/model/PartTable.hpp"
#include "opc/relationships/RelationshipList.hpp"

#include <string>
#include <string_view>

namespace opc::model::detail {

/// The relationships of an open package and of its parts, each list read when it is first asked for. Sources are
/// told by the states of their handles, the package by null. All functions throw opc::model::PartNotFound when there is
/// no such source, opc::Exception when its relationships part is malformed.
class RelationshipTable {
public:
    RelationshipTable(const Container& container, PartTable& parts) : container_(container), parts_(parts) {}
    RelationshipTable(const RelationshipTable&) = delete;
    RelationshipTable& operator=(const RelationshipTable&) = delete;

    const RelationshipList& of(PartState* source) { return *load(source).list; }

    /// As they are; the package's list has been read once it is open.
    const SourceState& ofPackage() const noexcept { return package_; }

    bool isChanged() const;

    /// @param record  with an empty id for one to be chosen. @throws opc::Exception, std::bad_alloc, with nothing
    ///                changed.
    RelationshipList::RecordPtr add(PartState* source, RelationshipRecord record);

    /// @throws opc::Exception of kind NotFound.
    void remove(PartState* source, const std::u16string& id);
    void remove(PartState* source, const RelationshipRecord& record);

    void removeByType(PartState* source, const std::u16string& type);

private:
    SourceState& load(PartState* source);
    SourceState& loaded(SourceState& state, std::string_view sourceName) const;
    std::unique_ptr<RelationshipList> read(std::string_view sourceName) const;
    void noteRemoval(bool removed, PartState* source, const std::u16string& id);

    const Container& container_;
    PartTable& parts_;
    SourceState package_;
};

}  // namespace opc::model::detail
