#pragma once

#include "opc/interfaces/IPhysicalPartInfo.hpp"

namespace opc::model {

class PXPLATFORM_EXPORT StandardPartInfo : public interfaces::IPhysicalPartInfo {
public:
    /// @param sizeHint  about how many bytes the part will have; 0 when unknown.
    StandardPartInfo(interfaces::CompressionType compression, unsigned long sizeHint);

    interfaces::CompressionType getCompressionType() const noexcept override;
    unsigned long getSizeHint() const noexcept override;

private:
    interfaces::CompressionType compression_;
    unsigned long sizeHint_;
};

}  // namespace opc::model
