#include "opc/ByteArrayOutAdaptor.hpp"

namespace opc {

ByteArrayOutAdaptor::ByteArrayOutAdaptor(fl::Bytes& bytes) : bytes_(&bytes) {}

void ByteArrayOutAdaptor::write(const void* from, std::size_t count) {
    const auto* first = static_cast<const unsigned char*>(from);
    bytes_->insert(bytes_->end(), first, first + count);
}

void ByteArrayOutAdaptor::take(fl::Bytes&& bytes) {
    if (bytes_->empty()) {
        bytes_->swap(bytes);
    } else {
        write(bytes.data(), bytes.size());
    }
}

}  // namespace opc
