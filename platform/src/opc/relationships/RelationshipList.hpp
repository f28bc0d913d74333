#pragma once

#include "fl/Bytes.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/relationships/Numbered.hpp"
#include "opc/relationships/RelationshipRecord.hpp"

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model::detail {

/// The relationships of one source, in their order.
class RelationshipList {
public:
    using RecordPtr = std::shared_ptr<const RelationshipRecord>;

    /// @param packageName, sourceName  outlive the object.
    RelationshipList(std::string_view packageName, std::string_view sourceName)
        : packageName_(packageName), sourceName_(sourceName) {}

    /// Fills an empty list. @throws as parseFlatXml().
    void parse(const fl::Bytes& bytes, const std::function<std::string()>& where);

    const Numbered<RecordPtr>& records() const noexcept { return records_; }
    bool isEmpty() const noexcept { return records_.empty(); }

    /// Whether anything was added or removed since it was read.
    bool isChanged() const noexcept { return changed_; }

    /// Adds a relationship; its origin and number are set here.
    /// @param record  with an empty id if one is to be chosen. If this library chose the wanted id for another
    ///                relationship, that one gets a new id: content may refer to ids of the caller, and to chosen ones
    ///                nothing does yet.
    /// @throws opc::Exception of kind Misuse or Conflict, std::bad_alloc, with nothing changed.
    RecordPtr add(RelationshipRecord record);

    /// @throws opc::Exception of kind NotFound.
    void remove(const std::u16string& id);
    void remove(const RelationshipRecord& record);
    /// @throws std::bad_alloc, with nothing changed.
    void removeByType(std::u16string_view type);

    fl::Bytes toXml() const;

private:
    class Handler;

    /// Orders by length first, which is cheaper; the order itself does not matter.
    struct Before {
        bool operator()(std::u16string_view a, std::u16string_view b) const noexcept {
            return a.size() != b.size() ? a.size() < b.size()
                                        : std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) < 0;
        }
    };
    using Numbers = std::map<std::u16string_view, std::size_t, Before>;

    RecordPtr insert(RelationshipRecord record, std::size_t inTheWay = 0);
    void giveWay(std::size_t number);
    Numbers& numbers();
    bool hasUniqueIds() const;
    void erase(RecordPtr record) noexcept;
    std::string where() const;
    const std::shared_ptr<const RelationshipOrigin>& origin();
    std::u16string freshId();

    std::string_view packageName_;
    std::string_view sourceName_;
    std::shared_ptr<const RelationshipOrigin> origin_;  ///< null until there is a relationship
    Numbered<RecordPtr> records_;
    std::optional<Numbers> numbers_;  ///< by id, once they are needed; the keys are views of the records'
    std::size_t lastNumber_ = 0;
    std::size_t lastFreshId_ = 0;
    bool changed_ = false;
};

/// The content type of relationships parts.
inline constexpr std::string_view kRelationshipsType = "application/vnd.openxmlformats-package.relationships+xml";
const ContentType& relationshipsType();

}  // namespace opc::model::detail
