#include "opc/ByteArrayInAdaptor.hpp"

#include <algorithm>
#include <cstring>

namespace opc {

ByteArrayInAdaptor::ByteArrayInAdaptor(const fl::Bytes& bytes) : bytes_(&bytes) {}

std::size_t ByteArrayInAdaptor::read(void* to, std::size_t count) {
    const std::size_t taken = std::min(count, bytes_->size() - position_);
    if (taken != 0) {
        std::memcpy(to, bytes_->data() + position_, taken);
        position_ += taken;
    }
    return taken;
}

void ByteArrayInAdaptor::transferTo(OutputStream& out) {
    const std::size_t from = position_;
    position_ = bytes_->size();
    if (from != position_) {
        out.write(bytes_->data() + from, position_ - from);
    }
}

}  // namespace opc
