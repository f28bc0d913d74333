#pragma once

#include "fl/PlatformExport.hpp"
#include "opc/interfaces/CompressionType.hpp"

namespace opc::interfaces {

/// How a part is to be stored.
class PXPLATFORM_EXPORT IPhysicalPartInfo {
public:
    virtual ~IPhysicalPartInfo() = default;

    virtual CompressionType getCompressionType() const noexcept = 0;

    /// About how many bytes the part will have, so that memory can be set aside; 0 when unknown.
    virtual unsigned long getSizeHint() const noexcept = 0;

protected:
    IPhysicalPartInfo() = default;
    IPhysicalPartInfo(const IPhysicalPartInfo&) = default;
    IPhysicalPartInfo& operator=(const IPhysicalPartInfo&) = default;
};

}  // namespace opc::interfaces
