#pragma once

#include "opc/model/ContentType.hpp"
#include "opc/model/RelationshipRecord.hpp"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace opc::model::detail {

/// The relationships of one source, in their order.
class RelationshipList {
public:
    using RecordPtr = std::shared_ptr<const RelationshipRecord>;

    explicit RelationshipList(std::shared_ptr<const RelationshipOrigin> origin) : origin_(std::move(origin)) {}

    /// Fills an empty list. @throws as parsePackageXml().
    void parse(const std::vector<unsigned char>& bytes, const std::string& where);

    /// All that `matches` a record.
    template <class Predicate>
    std::vector<RecordPtr> select(Predicate matches) const {
        std::vector<RecordPtr> selected;
        for (const RecordPtr& record : records_) {
            if (record && matches(*record)) {
                selected.push_back(record);
            }
        }
        return selected;
    }

    bool has(std::u16string_view id) const { return positions_.count(id) != 0; }
    bool isEmpty() const noexcept { return positions_.empty(); }

    /// An id that no relationship has.
    std::u16string freshId();

    /// @param record  with an id that is an NCName and not there yet; its origin is set here.
    RecordPtr add(RelationshipRecord record);

    /// Frees an id that this library chose itself, by choosing another: a caller's own ids are referred to by the
    /// content of the part, chosen ones by nobody yet. Does nothing when the id is not of that kind.
    void giveWay(std::u16string_view id);

    /// False when there is no such relationship.
    bool remove(std::u16string_view id);

    /// False when there is none of that type.
    bool removeByType(std::u16string_view type);

    std::vector<unsigned char> toXml() const;

private:
    void compact();

    std::shared_ptr<const RelationshipOrigin> origin_;
    std::vector<RecordPtr> records_;  ///< null where one was removed
    std::unordered_map<std::u16string_view, std::size_t> positions_;
    std::size_t lastFreshId_ = 0;
};

/// The content type of relationships parts.
const ContentType& relationshipsType();

/// Whether the text can be an XML id.
bool isNCName(std::u16string_view text);

}  // namespace opc::model::detail
