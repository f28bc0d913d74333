#pragma once

#include "fl/Bytes.hpp"
#include "fl/PlatformExport.hpp"
#include "opc/Limits.hpp"
#include "opc/interfaces/CompressionType.hpp"
#include "opc/interfaces/OpenMode.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace opc::interfaces {

/// One named entry of a container, as the index describes it. Folder entries are not listed.
struct PhysicalEntry {
    std::string_view name;     ///< UTF-8, without a leading slash; a view that ends when the container is closed
    std::uint64_t size;        ///< bytes of the content
    std::uint64_t storedSize;  ///< bytes that the content takes up in the container
};

/// One entry of a container that is to be written.
struct PlannedEntry {
    /// Null: the entry `carried` of the open container is taken over as it is stored, unread.
    const fl::Bytes* content = nullptr;
    std::size_t carried = 0;
    std::string name;  ///< of an entry with content: UTF-8, without a leading slash
    CompressionType compression = CompressionType::Normal;
};

/// A container of named entries, the physical side of a package. One object is used by one thread at
/// a time. All failures are opc::Exception, saying the file's name.
class PXPLATFORM_EXPORT IPhysicalPackage {
public:
    virtual ~IPhysicalPackage() = default;

    /// Reads the container's index, except for mode Create, which touches nothing.
    /// @throws opc::model::PackageNotFound when there is no such file.
    virtual void open(OpenMode mode) = 0;

    /// In the order of the index; names are unique, also without regard to ASCII case.
    virtual const std::vector<PhysicalEntry>& entries() const = 0;

    /// The whole content of an entry, verified against the sizes and the checksum of the index.
    virtual fl::Bytes read(std::size_t position) const = 0;

    /// Puts a container of the planned entries, in their order, in the place of the file: atomically
    /// and durably, or not at all. The container stays open on the old version afterwards.
    virtual void commit(const std::vector<PlannedEntry>& plan) = 0;

    /// Lets go of the file. Idempotent.
    virtual void close() noexcept = 0;

    /// The file's name as given, for messages.
    virtual const std::string& displayName() const noexcept = 0;

    virtual const Limits& limits() const noexcept = 0;

protected:
    IPhysicalPackage() = default;
    IPhysicalPackage(const IPhysicalPackage&) = default;
    IPhysicalPackage& operator=(const IPhysicalPackage&) = default;
};

}  // namespace opc::interfaces
