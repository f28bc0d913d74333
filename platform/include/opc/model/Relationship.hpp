#pragma once

#include "opc/model/TargetMode.hpp"
#include "opc/model/URI.hpp"

#include <memory>
#include <string>

namespace opc::model {

namespace detail {
struct RelationshipRecord;
}

/// One relationship of a source; a cheap handle on an immutable record, good also after the
/// relationship has been deleted.
class PXPLATFORM_EXPORT Relationship {
public:
    explicit Relationship(std::shared_ptr<const detail::RelationshipRecord> record);

    const std::u16string& getID() const noexcept;
    const std::u16string& getType() const noexcept;

    /// The target's text as it is stored.
    const std::u16string& getTarget() const noexcept;

    TargetMode getTargetMode() const noexcept;

    /// The target; an internal one resolved against the source part (the root, for the package),
    /// fragment included. @throws opc::Exception when the text is no URI reference.
    URI getTargetURI() const;

private:
    std::shared_ptr<const detail::RelationshipRecord> record_;
};

}  // namespace opc::model
