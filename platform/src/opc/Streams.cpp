// The streams that parts are read and written through. Content is in memory as a whole, so transferTo() can hand over
// all of it in one call.
#include "opc/ByteArrayInAdaptor.hpp"
#include "opc/ByteArrayOutAdaptor.hpp"
#include "opc/InputStream.hpp"
#include "opc/StreamHelper.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace opc {
namespace {

class StandardStreamAdaptor : public OutputStream {
public:
    explicit StandardStreamAdaptor(std::ostream& out) : out_(out) {}

    void write(const void* from, std::size_t count) override {
        out_.write(static_cast<const char*>(from), static_cast<std::streamsize>(count));
    }

private:
    std::ostream& out_;
};

}  // namespace

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

void InputStream::transferTo(OutputStream& out) {
    std::array<unsigned char, 16384> buffer;
    while (const std::size_t count = read(buffer.data(), buffer.size())) {
        out.write(buffer.data(), count);
    }
}

bool StreamHelper::copyStreamToStream(InputStream& in, OutputStream& out) {
    in.transferTo(out);
    return true;
}

bool StreamHelper::copyStreamToStream(InputStream& in, std::ostream& out) {
    StandardStreamAdaptor adaptor(out);
    in.transferTo(adaptor);
    return !out.fail();
}

}  // namespace opc
