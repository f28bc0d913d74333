#pragma once

#include "fl/Bytes.hpp"
#include "opc/interfaces/CompressionType.hpp"
#include "opc/model/Container.hpp"
#include "opc/model/ContentTypes.hpp"
#include "opc/model/PartName.hpp"
#include "opc/relationships/RelationshipList.hpp"

#include <memory>

namespace opc::model::detail {

/// What an open package knows of one part.
struct PartState {
    PartState(PartName partName, std::size_t partPlace) : name(std::move(partName)), place(partPlace) {}

    PartName name;
    std::size_t place;  ///< in the order of the parts
    ContentTypes::Pointer type;
    Entries entries;                     ///< of its content, the pieces in their order; none when it is new
    std::shared_ptr<fl::Bytes> pending;  ///< the content to be written; null while it is the container's
    interfaces::CompressionType compression = interfaces::CompressionType::Normal;
    unsigned long sizeHint = 0;
    std::unique_ptr<RelationshipList> relationships;  ///< null until they are asked for
    bool isDeleted = false;
};

}  // namespace opc::model::detail
