#pragma once

#include "opc/model/TargetMode.hpp"
#include "opc/model/URI.hpp"

#include <memory>
#include <string>

namespace opc::model {

namespace detail {
struct RelationshipRecord;
}

/// One relationship of a source; a cheap handle, good also after the relationship has been deleted. What it returns
/// never changes.
class PXPLATFORM_EXPORT Relationship {
public:
    explicit Relationship(std::shared_ptr<const detail::RelationshipRecord> record);

    /// Returns the id that the relationship had when the handle was got. An id that the library chose gives way to a
    /// later caller who asks for just that one: the relationship then has another, which handles that are got
    /// afterwards return.
    const std::u16string& getID() const noexcept;
    const std::u16string& getType() const noexcept;

    /// The target's text as it is stored.
    const std::u16string& getTarget() const noexcept;

    TargetMode getTargetMode() const noexcept;

    /// The target; an internal one resolved against the source part (the root, for the package),
    /// fragment included. @throws opc::Exception when the text is no URI reference.
    URI getTargetURI() const;

    /// Returns what identifies this relationship.
    const detail::RelationshipRecord& record() const noexcept { return *record_; }

private:
    std::shared_ptr<const detail::RelationshipRecord> record_;
};

}  // namespace opc::model
