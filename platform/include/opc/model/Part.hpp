#pragma once

#include "opc/InputStream.hpp"
#include "opc/OutputStream.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/PartName.hpp"
#include "opc/model/RelationshipSource.hpp"

#include <cstdint>
#include <memory>

namespace opc::model {

/// One part of an open package; a cheap handle. When the part has been deleted, or the package
/// closed, every call but getName() throws opc::Exception.
class PXPLATFORM_EXPORT Part : public RelationshipSource {
public:
    Part(std::shared_ptr<detail::PackageStore> store, std::shared_ptr<detail::PartState> part) noexcept
        : RelationshipSource(std::move(store), std::move(part)) {}

    const PartName& getName() const noexcept;
    ContentType getContentType() const;

    /// Bytes of the content.
    std::uint64_t getSize() const;

    /// Bytes that the content takes up in the file; 0 for a part not yet committed.
    std::uint64_t getStoredSize() const;

    /// The content as it is now; reads and verifies it whole.
    std::unique_ptr<InputStream> getInputStream() const;

    /// Empties the part; what is written to the stream becomes its content, write by write. When an exception
    /// destroys the stream, the part has its former content again. The stream must not be used after the
    /// part was deleted or the package closed. Content reaches the file by Package::close().
    std::unique_ptr<OutputStream> getOutputStream();
};

}  // namespace opc::model
