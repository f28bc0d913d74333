#include "opc/ByteArrayOutAdaptor.hpp"

namespace opc {

ByteArrayOutAdaptor::ByteArrayOutAdaptor(fl::Bytes& bytes) : bytes_(&bytes) {}

void ByteArrayOutAdaptor::write(const void* from, std::size_t count) {
    const auto* first = static_cast<const unsigned char*>(from);
    bytes_->insert(bytes_->end(), first, first + count);
}

}  // namespace opc
