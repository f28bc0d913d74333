#include "opc/ByteArrayOutAdaptor.hpp"

namespace opc {

ByteArrayOutAdaptor::ByteArrayOutAdaptor(std::vector<unsigned char>& bytes) : bytes_(&bytes) {}

void ByteArrayOutAdaptor::write(const void* from, std::size_t count) {
    const auto* first = static_cast<const unsigned char*>(from);
    bytes_->insert(bytes_->end(), first, first + count);
}

}  // namespace opc
