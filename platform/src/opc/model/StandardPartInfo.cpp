#include "opc/model/StandardPartInfo.hpp"

namespace opc::model {

StandardPartInfo::StandardPartInfo(interfaces::CompressionType compression, unsigned long sizeHint)
    : compression_(compression), sizeHint_(sizeHint) {}

interfaces::CompressionType StandardPartInfo::getCompressionType() const noexcept { return compression_; }

unsigned long StandardPartInfo::getSizeHint() const noexcept { return sizeHint_; }

}  // namespace opc::model
