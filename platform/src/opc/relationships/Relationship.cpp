// What a handle on a relationship answers. The record that it shares never changes, so none of this needs the package.
#include "opc/model/Relationship.hpp"

#include "fl/i18n/Conversion.hpp"
#include "opc/Exception.hpp"
#include "opc/MessageText.hpp"
#include "opc/relationships/RelationshipRecord.hpp"

#include <utility>

namespace opc::model {

Relationship::Relationship(std::shared_ptr<const detail::RelationshipRecord> record) : record_(std::move(record)) {}

const std::u16string& Relationship::getID() const noexcept { return record_->id; }

const std::u16string& Relationship::getType() const noexcept { return record_->type; }

const std::u16string& Relationship::getTarget() const noexcept { return record_->target; }

TargetMode Relationship::getTargetMode() const noexcept { return record_->mode; }

/// Resolves an internal target against its source (RFC 3986, 5.2). A target is checked only here: a file with one that
/// is no reference can still be opened, read and saved.
URI Relationship::getTargetURI() const {
    const detail::RelationshipOrigin& origin = *record_->origin;
    try {
        URI target(record_->target);
        if (record_->mode == TargetMode::External) {
            return target;
        }
        return target.resolvedAgainst(origin.base);
    } catch (const Exception& error) {
        throw Exception(ErrorKind::Damaged,
                        "package '" + origin.packageName + "', relationship " + detail::shown(record_->id) + " of " +
                            detail::shown(origin.sourceName) + ": " + error.what(),
                        origin.sourceName);
    }
}

}  // namespace opc::model

namespace opc::model::detail {

std::optional<PartName> internalTarget(const Relationship& relationship) {
    if (relationship.getTargetMode() == TargetMode::External) {
        return std::nullopt;
    }
    try {
        return PartName(relationship.getTargetURI());
    } catch (const Exception&) {
        return std::nullopt;
    }
}

}  // namespace opc::model::detail
