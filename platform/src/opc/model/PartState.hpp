#pragma once

#include "opc/interfaces/CompressionType.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/RelationshipList.hpp"

#include <memory>
#include <string>
#include <vector>

namespace opc::model::detail {

/// The relationships of a source, as far as they have been asked for.
struct SourceState {
    std::unique_ptr<RelationshipList> list;  ///< null until it is read
    bool changed = false;
};

/// What an open package knows of one part.
struct PartState {
    using Bytes = std::vector<unsigned char>;

    std::string name;                   ///< as written
    const ContentType* type = nullptr;  ///< owned by the content types of the package
    std::vector<std::size_t> entries;  ///< its entries in the container, the pieces in their order; none when it is new
    std::shared_ptr<Bytes> pending;    ///< the content to be written; null while it is the container's
    interfaces::CompressionType compression = interfaces::CompressionType::Normal;
    unsigned long sizeHint = 0;
    SourceState relationships;
};

}  // namespace opc::model::detail
