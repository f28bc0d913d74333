#pragma once

#include "fl/Bytes.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/relationships/RelationshipRecord.hpp"

#include <cstring>
#include <functional>
#include <map>
#include <memory>
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

    void clear() { *this = RelationshipList(packageName_, sourceName_); }

    std::vector<RecordPtr> all() const;
    std::vector<RecordPtr> ofType(std::u16string_view type) const;

    bool has(std::u16string_view id) const { return isAt(placeOf(id), id); }
    bool isEmpty() const noexcept { return positions_.empty(); }

    /// Whether a new relationship cannot have an id. One that this library chose gives way: a caller's own ids are
    /// referred to by the content of the part, chosen ones by nobody yet.
    bool isTaken(std::u16string_view id) const;

    /// @param record  with an id that is not taken, or none for one to be chosen; its origin is set here.
    /// @throws std::bad_alloc, with nothing changed.
    RecordPtr add(RelationshipRecord record);

    /// False when there is no such relationship.
    bool remove(std::u16string_view id) noexcept;
    bool remove(const RelationshipRecord& record) noexcept;

    /// False when there is none of that type.
    bool removeByType(std::u16string_view type) noexcept;

    fl::Bytes toXml() const;

private:
    /// Not in the order of an alphabet, but soon told.
    struct Before {
        using is_transparent = void;
        bool operator()(std::u16string_view a, std::u16string_view b) const noexcept {
            return a.size() != b.size() ? a.size() < b.size()
                                        : std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) < 0;
        }
    };
    using Positions = std::map<std::u16string_view, std::size_t, Before>;
    struct OfType {
        RecordPtr first;  ///< whose type the key is a view of
        std::vector<std::size_t> positions;
    };

    /// Where an id is, or would be.
    Positions::const_iterator placeOf(std::u16string_view id) const;
    bool isAt(Positions::const_iterator place, std::u16string_view id) const {
        return place != positions_.end() && place->first == id;
    }
    const std::shared_ptr<const RelationshipOrigin>& origin();
    std::u16string freshId();
    void addTaken(std::u16string_view id, Positions::const_iterator holder);
    void compact() noexcept;

    std::string_view packageName_;
    std::string_view sourceName_;
    std::shared_ptr<const RelationshipOrigin> origin_;          ///< null until there is a relationship
    std::vector<std::shared_ptr<RelationshipRecord>> records_;  ///< null where one was removed
    Positions positions_;                                       ///< by id; the keys are views of the records'
    /// With those of removed ones.
    std::map<std::u16string_view, OfType, Before> positionsByType_;
    std::size_t lastFreshId_ = 0;
};

/// The content type of relationships parts.
inline constexpr std::string_view kRelationshipsType = "application/vnd.openxmlformats-package.relationships+xml";
const ContentType& relationshipsType();

/// Whether the text can be an XML id.
bool isNCName(std::u16string_view text);

}  // namespace opc::model::detail
